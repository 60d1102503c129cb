// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/value_parser.h"

#include "tessaryn/visit_type.h"

#include <Poco/String.h>

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
