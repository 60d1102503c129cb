// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>
#include <string_view>

namespace velmora::tool {

// These functions escape control characters, including those of bidirectional text, and bytes that
// are not UTF-8.

/// Appends a text as one word of a line: in double quotes unless it is printable ASCII without
/// blanks, quotes, backslashes, ";" and "]".
void AppendWord(std::string& out, std::string_view text);

/// Appends a text without quotes.
void AppendEscaped(std::string& out, std::string_view text);

/// Appends a text as a JSON string; U+FFFD stands for each byte that is not UTF-8.
void AppendJsonString(std::string& out, std::string_view text);

/// A text for a message: in single quotes, and cut after 60 bytes.
std::string Quoted(std::string_view text);

}  // namespace velmora::tool
