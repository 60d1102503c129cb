// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/base_type.h"

#include <string>
#include <string_view>

namespace velmora::tool {

/// Reads one element of a value type and appends its bytes, as a sample's binary form holds them.
///
/// Strict: the text is a number as a whole, with at most one sign, and fits the type. `Float` and
/// `Double` take "nan" and "inf", too; `Bool` takes 0, 1, true and false in any case. All
/// characters of a text for `String` are appended.
/// \return whether the text was such an element; if not, nothing is appended
bool AppendElement(core::tessaryn::BaseType type, std::string_view text, std::string& bytes);

/// Why a text is no element of a type: "is no whole number", "does not fit Int8" and the like.
std::string DescribeParseError(core::tessaryn::BaseType type, std::string_view text);

/// The type that a text suggests: `Int64` for a whole number, `Double` for any other number and
/// for whole numbers beyond 64 bits, `String` for the rest.
core::tessaryn::BaseType GuessType(std::string_view text);

}  // namespace velmora::tool
