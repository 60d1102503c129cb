// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/base_type.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace velmora::tool {

/// Parses one element of a value type and appends its bytes, as a sample's binary form holds them.
///
/// Strict: the complete text is a number, with at most one sign, in the range of the type. `Float`
/// and `Double` accept "nan" and "inf", `Bool` accepts 0, 1, true and false in any case. For
/// `String` the text itself is appended.
/// \return whether the text was such an element; if not, nothing is appended
bool AppendElement(core::tessaryn::BaseType type, std::string_view text, std::string& bytes);

/// A fast path of `AppendElement` for a `Double`: parses a number such as -12.5 or 7 with few
/// digits.
/// \return whether it did; if not, the text may still be a number
bool ReadShortNumber(std::string_view text, double& value);
/// The same for an integer.
bool ReadShortNumber(std::string_view text, std::int64_t& value);

/// The reason why a text is not an element of a type: "is not an integer", "is out of range for
/// Int8" and so on.
std::string DescribeParseError(core::tessaryn::BaseType type, std::string_view text);

/// `Int64` for an integer of that range, `Double` for any other number, `String` for the rest.
core::tessaryn::BaseType GuessType(std::string_view text);

}  // namespace velmora::tool
