// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/value_parser.h"

#include "tessaryn/visit_type.h"

#include <Poco/String.h>

#include <array>
#include <bit>
#include <cfloat>
#include <charconv>
#include <cstring>
#include <system_error>
#include <type_traits>

namespace velmora::tool {

using core::tessaryn::BaseType;

namespace {

enum class Verdict { valid, malformed, outOfRange };

bool IsDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

template <class T>
Verdict Parse(std::string_view text, T& value) {
    // from_chars does not accept a plus sign.
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
        text.remove_prefix(1);
    }
    if (std::is_unsigned_v<T> && text.starts_with('-')) {
        return IsDigits(text.substr(1)) ? Verdict::outOfRange : Verdict::malformed;
    }
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, value);
    if (error == std::errc::invalid_argument || end != last) {
        return Verdict::malformed;
    }
    return error == std::errc() ? Verdict::valid : Verdict::outOfRange;
}

Verdict Parse(std::string_view text, bool& value) {
    const std::string word = text.size() > 5 ? std::string() : std::string(text);
    value = word == "1" || Poco::icompare(word, "true") == 0;
    const bool isValid = value || word == "0" || Poco::icompare(word, "false") == 0;
    return isValid ? Verdict::valid : Verdict::malformed;
}

Verdict Append(BaseType type, std::string_view text, std::string& bytes) {
    return core::tessaryn::VisitType(type, [&]<class T>(std::type_identity<T>) {
        if constexpr (std::is_void_v<T>) {
            return Verdict::malformed;
        } else if constexpr (std::is_same_v<T, std::string>) {
            bytes += text;
            return Verdict::valid;
        } else {
            // Whether char has a sign depends on the machine.
            std::conditional_t<std::is_same_v<T, char>, signed char, T> value{};
            const Verdict verdict = Parse(text, value);
            if (verdict == Verdict::valid) {
                bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
            }
            return verdict;
        }
    });
}

// Digits that an integer of 64 bits and a double hold exactly.
constexpr std::size_t maxShortDigits = 15;
constexpr std::array<double, maxShortDigits + 1> powers = {
    1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Texts of up to eight bytes are looked at in one word, in which the first byte is the lowest.
static_assert(std::endian::native == std::endian::little);
constexpr std::size_t wordSize = sizeof(std::uint64_t);
constexpr std::uint64_t everyByte = 0x0101010101010101U;

// The bytes of a text that is not empty; zeros follow them.
std::uint64_t GetWord(std::string_view text) {
    const std::size_t size = text.size();
    if (size >= sizeof(std::uint32_t)) {
        // Where both parts have a byte, it is the same.
        std::uint32_t first = 0;
        std::uint32_t last = 0;
        std::memcpy(&first, text.data(), sizeof first);
        std::memcpy(&last, text.data() + size - sizeof last, sizeof last);
        return first | std::uint64_t{last} << 8 * (size - sizeof last);
    }
    std::uint64_t word = 0;
    for (const std::size_t at : {std::size_t{0}, size / 2, size - 1}) {
        word |= std::uint64_t{static_cast<unsigned char>(text[at])} << 8 * at;
    }
    return word;
}

// Reads a word of one to eight digits: pairs of them, pairs of pairs, then both halves.
bool ReadDigits(std::uint64_t word, std::size_t count, std::int64_t& value) {
    const std::size_t shift = 8 * (wordSize - count);
    // Zeros come to stand before the digits.
    std::uint64_t digits = (word ^ everyByte * '0') << shift;
    if (((digits + everyByte * (0x80 - 10)) | digits) & everyByte * 0x80) {
        return false;
    }
    digits = (digits * 10 + (digits >> 8U)) & 0x00ff00ff00ff00ffU;
    digits = (digits * 100 + (digits >> 16U)) & 0x0000ffff0000ffffU;
    digits = (digits * 10'000 + (digits >> 32U)) & 0xffffffffU;
    value = static_cast<std::int64_t>(digits);
    return true;
}

// Reads a word of digits with at most one point, which is not the first.
bool ReadDecimal(std::uint64_t word, std::size_t size, std::int64_t& digits, std::size_t& places) {
    const std::uint64_t other = word ^ everyByte * '.';
    const std::uint64_t points = (other - everyByte) & ~other & everyByte * 0x80;
    if (points == 0) {
        return ReadDigits(word, size, digits);
    }
    const auto point = static_cast<std::size_t>(std::countr_zero(points)) / 8;
    if (point == 0) {
        return false;
    }
    const std::uint64_t before = (std::uint64_t{1} << 8 * point) - 1;
    places = size - 1 - point;
    return ReadDigits((word & before) | (word >> 8U & ~before), size - 1, digits);
}

// Does so with any text.
bool ReadLongDecimal(std::string_view text, std::int64_t& digits, std::size_t& places) {
    std::size_t at = 0;
    for (; at < text.size() && IsDigit(text[at]); ++at) {
        digits = 10 * digits + (text[at] - '0');
    }
    if (at < text.size() && text[at] == '.') {
        for (++at; at < text.size() && IsDigit(text[at]); ++at, ++places) {
            digits = 10 * digits + (text[at] - '0');
        }
    }
    return at == text.size();
}

const char* DescribeKind(BaseType type) {
    switch (type) {
        case BaseType::Bool:
            return "a Bool (0, 1, true or false)";
        case BaseType::Float:
        case BaseType::Double:
            return "a number";
        default:
            return "an integer";
    }
}

}  // namespace

bool AppendElement(BaseType type, std::string_view text, std::string& bytes) {
    return Append(type, text, bytes) == Verdict::valid;
}

bool ReadShortNumber(std::string_view text, std::int64_t& value) {
    const bool isNegative = text.starts_with('-');
    text.remove_prefix(isNegative ? 1 : 0);
    if (text.empty() || text.size() > maxShortDigits) {
        return false;
    }
    value = 0;
    // A loop is quicker for one digit.
    if (text.size() > 1 && text.size() <= wordSize) {
        if (!ReadDigits(GetWord(text), text.size(), value)) {
            return false;
        }
        value = isNegative ? -value : value;
        return true;
    }
    for (const char c : text) {
        if (!IsDigit(c)) {
            return false;
        }
        value = 10 * value + (c - '0');
    }
    value = isNegative ? -value : value;
    return true;
}

// The digits and the power of ten are exact, so their quotient is the nearest double, as from the
// general parser.
bool ReadShortNumber(std::string_view text, double& value) {
    static_assert(FLT_EVAL_METHOD == 0);
    const bool isNegative = text.starts_with('-');
    text.remove_prefix(isNegative ? 1 : 0);
    if (text.empty() || text.size() > maxShortDigits || !IsDigit(text.front())) {
        return false;
    }
    std::int64_t digits = 0;
    std::size_t places = 0;
    if (text.size() <= wordSize) {
        if (!ReadDecimal(GetWord(text), text.size(), digits, places)) {
            return false;
        }
    } else if (!ReadLongDecimal(text, digits, places)) {
        return false;
    }
    const double size = static_cast<double>(digits) / powers[places];
    value = isNegative ? -size : size;
    return true;
}

std::string DescribeParseError(BaseType type, std::string_view text) {
    std::string ignored;
    if (Append(type, text, ignored) == Verdict::outOfRange) {
        return "is out of range for " + ToString(type);
    }
    return std::string("is not ") + DescribeKind(type);
}

BaseType GuessType(std::string_view text) {
    long long integer = 0;
    if (Parse(text, integer) == Verdict::valid) {
        return BaseType::Int64;
    }
    double decimal = 0;
    return Parse(text, decimal) == Verdict::valid ? BaseType::Double : BaseType::String;
}

}  // namespace velmora::tool
