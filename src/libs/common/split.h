// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::utils {

/// The parts of a text between separators, one after the other, as reading it line by line would
/// give them.
///
/// There is no quoting and no trimming. The empty text has no parts, a separator at the end adds
/// none, and two separators in a row have an empty part between them.
/// \threadsafety external
class Splitter {
  public:
    /// \param splitText must outlive the splitter
    /// \param separatorBetween stands between two parts
    Splitter(std::string_view splitText, char separatorBetween)
        : rest(splitText), separator(separatorBetween) {}

    /// Whether all parts have been handed out.
    bool IsAtEnd() const { return rest.empty(); }

    /// The next part.
    /// \pre There is one.
    std::string_view Next() {
        const std::size_t end = std::min(rest.find(separator), rest.size());
        const std::string_view part = rest.substr(0, end);
        rest.remove_prefix(std::min(end + 1, rest.size()));
        return part;
    }

  private:
    std::string_view rest;
    char separator;
};

/// All parts that a `Splitter` gives.
/// \threadsafety immutable
inline std::vector<std::string> Split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    for (Splitter splitter(text, separator); !splitter.IsAtEnd();) {
        parts.emplace_back(splitter.Next());
    }
    return parts;
}

}  // namespace velmora::utils
