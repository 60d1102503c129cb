// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "common/version.h"

#include <charconv>
#include <ostream>
#include <stdexcept>
#include <system_error>
#include <type_traits>

namespace velmora::utils {

static_assert(sizeof(Version) == 4 && std::is_trivially_copyable_v<Version>);

namespace {

// Reads one part; null when there is none in range. For unsigned numbers from_chars accepts neither
// a sign nor blanks, whatever the locale.
template <class Part>
const char* ReadPart(const char* begin, const char* end, Part& part) {
    if (begin == nullptr) {
        return nullptr;
    }
    const auto [next, error] = std::from_chars(begin, end, part);
    return error == std::errc() ? next : nullptr;
}

const char* SkipDot(const char* begin, const char* end) {
    return begin != nullptr && begin != end && *begin == '.' ? begin + 1 : nullptr;
}

}  // namespace

Version::Version(const std::string& text) {
    unsigned char first = 0;
    unsigned char second = 0;
    unsigned short third = 0;
    const char* const end = text.data() + text.size();
    const char* next = SkipDot(ReadPart(text.data(), end, first), end);
    next = SkipDot(ReadPart(next, end, second), end);
    next = ReadPart(next, end, third);
    if (next != end) {
        throw std::invalid_argument("'" + text + "' is not a version such as '1.0.0'.");
    }
    *this = Version(first, second, third);
}

std::string Version::ToString() const {
    return std::to_string(GetFirst()) + '.' + std::to_string(GetSecond()) + '.' +
           std::to_string(GetThird());
}

std::ostream& operator<<(std::ostream& out, const Version& version) {
    return out << version.ToString();
}

}  // namespace velmora::utils
