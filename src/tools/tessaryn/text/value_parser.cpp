// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/value_parser.h"

#include <Poco/String.h>

#include <charconv>
#include <system_error>
#include <type_traits>

namespace velmora::tool {

using core::tessaryn::BaseType;

namespace {

enum class Verdict { fine, malformed, outOfRange };

bool IsInteger(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

template <class T>
Verdict ParseNumber(std::string_view text, T& value) {
    // from_chars knows no plus sign.
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') {
        text.remove_prefix(1);
    }
    if (std::is_unsigned_v<T> && text.starts_with('-')) {
        return IsInteger(text.substr(1)) ? Verdict::outOfRange : Verdict::malformed;
    }
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, value);
    if (error == std::errc::invalid_argument || end != last) {
        return Verdict::malformed;
    }
    return error == std::errc() ? Verdict::fine : Verdict::outOfRange;
}

Verdict ParseBool(std::string_view text, bool& value) {
    const std::string word = text.size() > 5 ? std::string() : std::string(text);
    value = word == "1" || Poco::icompare(word, "true") == 0;
    const bool fine = value || word == "0" || Poco::icompare(word, "false") == 0;
    return fine ? Verdict::fine : Verdict::malformed;
}

template <class T>
Verdict Append(std::string_view text, std::string& bytes) {
    T value{};
    Verdict verdict = Verdict::malformed;
    if constexpr (std::is_same_v<T, bool>) {
        verdict = ParseBool(text, value);
    } else {
        verdict = ParseNumber(text, value);
    }
    if (verdict == Verdict::fine) {
        bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    }
    return verdict;
}

Verdict AppendAs(BaseType type, std::string_view text, std::string& bytes) {
    switch (type) {
        case BaseType::UnknownType:
            return Verdict::malformed;
        case BaseType::Int8:
            return Append<signed char>(text, bytes);
        case BaseType::Int16:
            return Append<short>(text, bytes);
        case BaseType::Int32:
            return Append<int>(text, bytes);
        case BaseType::Int64:
            return Append<long long>(text, bytes);
        case BaseType::UInt8:
            return Append<unsigned char>(text, bytes);
        case BaseType::UInt16:
            return Append<unsigned short>(text, bytes);
        case BaseType::UInt32:
            return Append<unsigned int>(text, bytes);
        case BaseType::UInt64:
            return Append<unsigned long long>(text, bytes);
        case BaseType::Float:
            return Append<float>(text, bytes);
        case BaseType::Double:
            return Append<double>(text, bytes);
        case BaseType::Bool:
            return Append<bool>(text, bytes);
        case BaseType::String:
            bytes += text;
            return Verdict::fine;
    }
    return Verdict::malformed;
}

const char* KindOf(BaseType type) {
    switch (type) {
        case BaseType::Bool:
            return "truth value (0, 1, true or false)";
        case BaseType::Float:
        case BaseType::Double:
            return "number";
        default:
            return "whole number";
    }
}

}  // namespace

bool AppendElement(BaseType type, std::string_view text, std::string& bytes) {
    return AppendAs(type, text, bytes) == Verdict::fine;
}

std::string DescribeParseError(BaseType type, std::string_view text) {
    std::string ignored;
    if (AppendAs(type, text, ignored) == Verdict::outOfRange) {
        return "does not fit " + ToString(type);
    }
    return std::string("is no ") + KindOf(type);
}

BaseType GuessType(std::string_view text) {
    long long whole = 0;
    if (ParseNumber(text, whole) == Verdict::fine) {
        return BaseType::Int64;
    }
    double decimal = 0;
    return ParseNumber(text, decimal) == Verdict::fine ? BaseType::Double : BaseType::String;
}

}  // namespace velmora::tool
