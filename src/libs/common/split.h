// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::utils {

/// The parts of a text between separators, as reading it line by line would give them.
///
/// There is no quoting and no trimming. The empty text has no parts, a separator at the end adds
/// none, and two separators in a row have an empty part between them.
/// \param text what is split
/// \param separator the character between parts
/// \threadsafety immutable
inline std::vector<std::string> Split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t found = text.find(separator, begin);
        const std::size_t end = found == std::string_view::npos ? text.size() : found;
        parts.emplace_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

}  // namespace velmora::utils
