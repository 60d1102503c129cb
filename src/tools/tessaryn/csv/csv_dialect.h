// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// The format of a table.
struct CsvDialect {
    char delimiter = ',';
    /// Lines above the header.
    std::size_t linesBeforeHeader = 0;
    /// Whether the header is the text behind the "#" of a comment.
    bool isHeaderComment = false;
};

/// The number of fields of a line.
std::size_t CountFields(std::string_view line, char delimiter);

/// Infers the dialect from the first lines: the separator, of "," ";" tab and "|", with which most
/// of the lines have the same number of fields, two at least. Lines that begin with "#" are
/// comments. The lines above the first one with that number of fields are a preamble, if that line
/// has neither numbers nor times; otherwise the header is the first line, or the comment directly
/// above it with as many fields.
/// \param lines without their ends
CsvDialect InferDialect(const std::vector<std::string_view>& lines);

}  // namespace velmora::tool
