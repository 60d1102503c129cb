// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/base_type.h"
#include "tessaryn/sample.h"
#include "text/escaped_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string>
#include <type_traits>

namespace velmora::tool {

/// The form of values: for people, or as JSON with null for NaN and infinities.
enum class ValueForm { text, json };

/// Calls `visit` with the getter of a type's elements; does nothing for `String`.
template <class Visit>
void VisitGetter(core::tessaryn::BaseType type, Visit visit) {
    using core::tessaryn::Sample;
    switch (type) {
        case core::tessaryn::Int8:
            return visit(&Sample::GetInt8);
        case core::tessaryn::Int16:
            return visit(&Sample::GetInt16);
        case core::tessaryn::Int32:
            return visit(&Sample::GetInt32);
        case core::tessaryn::Int64:
            return visit(&Sample::GetInt64);
        case core::tessaryn::UInt8:
            return visit(&Sample::GetUInt8);
        case core::tessaryn::UInt16:
            return visit(&Sample::GetUInt16);
        case core::tessaryn::UInt32:
            return visit(&Sample::GetUInt32);
        case core::tessaryn::UInt64:
            return visit(&Sample::GetUInt64);
        case core::tessaryn::Float:
            return visit(&Sample::GetFloat);
        case core::tessaryn::Double:
            return visit(&Sample::GetDouble);
        case core::tessaryn::Bool:
            return visit(&Sample::GetBool);
        case core::tessaryn::UnknownType:
        case core::tessaryn::String:
            return;
    }
}

/// Appends one element's value: floating-point numbers with the fewest digits that read back as the
/// same value, and with an exponent from 10^15 on, since they would look like exact integers.
template <class T>
void AppendValue(std::string& out, T value, ValueForm form) {
    std::array<char, 32> digits;
    std::to_chars_result result{digits.data(), std::errc()};
    if constexpr (std::is_same_v<T, bool>) {
        out += value ? "true" : "false";
    } else if constexpr (std::is_integral_v<T>) {
        result = std::to_chars(digits.data(), digits.data() + digits.size(), +value);
    } else if (std::isfinite(value) && std::abs(value) >= T(1e15)) {
        result = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                               std::chars_format::scientific);
    } else if (std::isfinite(value) || form == ValueForm::text) {
        result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    } else {
        out += "null";
    }
    out.append(digits.data(), result.ptr);
}

/// Appends a text as one word, or as a JSON string.
inline void AppendText(std::string& out, const std::string& text, ValueForm form) {
    if (form == ValueForm::json) {
        AppendJsonString(out, text);
    } else {
        AppendWord(out, text);
    }
}

}  // namespace velmora::tool
