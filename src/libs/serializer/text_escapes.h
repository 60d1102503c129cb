// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <optional>
#include <string>
#include <string_view>

/// \file
/// Escape sequences for bytes that a document cannot hold.

namespace velmora::core::serialization::detail {

/// Whether the bytes are well-formed UTF-8: no overlong forms, surrogates or truncated sequences.
bool IsUtf8(std::string_view text);

/// Whether a byte is the second or a later one of a UTF-8 sequence.
constexpr bool IsContinuationByte(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

/// Whether a text needs escapes to stand in a document: it is not well-formed UTF-8, holds control
/// characters, U+FFFE or U+FFFF, or begins or ends with a blank.
bool NeedsEscapes(std::string_view text);

/// Writes any bytes as text that needs no escapes. A backslash becomes "\\", a line feed "\n", a
/// carriage return "\r", a tab "\t", and every other byte that needs an escape "\x" and two
/// hexadecimal digits.
std::string Escape(std::string_view text);

/// The bytes that `Escape` wrote as this text, or nothing when an escape sequence is invalid.
std::optional<std::string> Unescape(std::string_view text);

/// A text for a message: unchanged, or escaped if it has control characters.
std::string Printable(std::string_view text);

/// A text for a message: printable, in single quotes, cut to 64 bytes.
std::string Quote(std::string_view text);

}  // namespace velmora::core::serialization::detail
