// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/value_parser.h"

#include "tessaryn/visit_type.h"

#include <Poco/String.h>

#include <array>
#include <cfloat>
#include <charconv>
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

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
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
    constexpr std::array<double, maxShortDigits + 1> powers = {
        1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    static_assert(FLT_EVAL_METHOD == 0);
    const bool isNegative = text.starts_with('-');
    text.remove_prefix(isNegative ? 1 : 0);
    if (text.empty() || text.size() > maxShortDigits || !IsDigit(text.front())) {
        return false;
    }
    std::int64_t digits = 0;
    std::size_t at = 0;
    for (; at < text.size() && IsDigit(text[at]); ++at) {
        digits = 10 * digits + (text[at] - '0');
    }
    std::size_t places = 0;
    if (at < text.size() && text[at] == '.') {
        for (++at; at < text.size() && IsDigit(text[at]); ++at, ++places) {
            digits = 10 * digits + (text[at] - '0');
        }
    }
    if (at < text.size()) {
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
