// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <optional>
#include <string>
#include <string_view>

/// \file
/// How bytes that a document can't hold are written as text that it can.

namespace velmora::core::serialization::detail {

/// Whether the bytes are well-formed UTF-8: no overlong forms, no surrogates, nothing cut off.
bool IsUtf8(std::string_view text);

/// Whether a text can stand in any document as it is: well-formed UTF-8 without control characters
/// and non-characters, not empty, and with no blank at either end.
bool IsPlainText(std::string_view text);

/// Writes any bytes as plain text, or as nothing when there are none. A backslash becomes "\\", a
/// line feed "\n", a carriage return "\r", a tab "\t", and every other byte that is not plain
/// "\x" and two hexadecimal digits.
std::string Escape(std::string_view text);

/// The bytes that `Escape` wrote so, or nothing when a backslash is followed by anything else.
std::optional<std::string> Unescape(std::string_view text);

/// A text as a message shows it: as it is, or escaped where it would break a line or end early.
std::string Printable(std::string_view text);

}  // namespace velmora::core::serialization::detail
