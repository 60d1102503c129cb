// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>
#include <string_view>

namespace velmora::tool {

/// Appends a text so that it is one word of a line: as it is where it has neither blanks nor
/// quotes, else in double quotes. What a terminal would act upon is written as an escape.
void AppendWord(std::string& out, std::string_view text);

/// Appends a text with escapes for what a terminal would act upon.
void AppendEscaped(std::string& out, std::string_view text);

/// A text for a message: in single quotes, escaped as in `AppendWord`, cut where it is long.
std::string Quoted(std::string_view text);

/// The text as UTF-8: U+FFFD stands for each byte that is part of no valid character.
std::string ToUtf8(std::string_view text);

}  // namespace velmora::tool
