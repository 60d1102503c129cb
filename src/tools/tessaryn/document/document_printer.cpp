// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "document/document_printer.h"

#include "text/time_text.h"

#include <algorithm>
#include <string_view>

namespace velmora::tool {

namespace tsn = core::tessaryn;

std::string HashText(const tsn::StreamType& type) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char c : type.GetHash()) {
        const auto byte = static_cast<unsigned char>(c);
        text += digits[byte >> 4];
        text += digits[byte & 0xFU];
    }
    return text;
}

std::string TimeText(const Poco::Timestamp& time) {
    // 0001-01-01T00:00:00Z and 9999-12-31T23:59:59.999999Z.
    constexpr std::int64_t earliest = -62'135'596'800'000'000;
    constexpr std::int64_t latest = 253'402'300'799'999'999;
    const std::int64_t microseconds = time.epochMicroseconds();
    if (microseconds < earliest || microseconds > latest) {
        return std::to_string(microseconds) + "us";
    }
    std::string text;
    AppendTime(text, microseconds);
    return text;
}

unsigned int GetMaxElements(const std::vector<tsn::Sample*>& samples, unsigned short entry) {
    unsigned int most = 0;
    for (const tsn::Sample* const sample : samples) {
        most = std::max(most, sample->GetSize(entry));
    }
    return most;
}

}  // namespace velmora::tool
