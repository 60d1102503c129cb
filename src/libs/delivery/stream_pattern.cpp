// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/stream_pattern.h"

#include <stdexcept>

namespace velmora::delivery {

namespace {

// Cuts off the first name and the separator behind it, if any; `hasMore` tells whether there was
// one.
std::string_view CutName(std::string_view& rest, char separator, bool& hasMore) {
    const std::size_t end = rest.find(separator);
    hasMore = end != std::string_view::npos;
    const std::string_view name = rest.substr(0, end);
    rest.remove_prefix(hasMore ? end + 1 : rest.size());
    return name;
}

}  // namespace

StreamPattern::StreamPattern(const std::string& pattern, char separator)
    : separator(separator), isOpen(false) {
    std::string_view rest = pattern;
    for (bool hasMore = true; hasMore;) {
        const std::string_view name = CutName(rest, separator, hasMore);
        if (name.empty()) {
            throw std::invalid_argument("The pattern '" + pattern + "' has an empty name.");
        }
        if (name != ">") {
            names.emplace_back(name);
            continue;
        }
        if (hasMore) {
            throw std::invalid_argument("In the pattern '" + pattern +
                                        "' a '>' stands before the end.");
        }
        isOpen = true;
    }
}

bool StreamPattern::Matches(std::string_view path) const {
    bool hasMore = true;
    for (const std::string& expected : names) {
        if (!hasMore) {
            return false;
        }
        const std::string_view name = CutName(path, separator, hasMore);
        if (expected != "*" && expected != name) {
            return false;
        }
    }
    return hasMore == isOpen;
}

}  // namespace velmora::delivery
