// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/nearest.h"

#include "text/escaped_text.h"

#include <Poco/String.h>

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace velmora::tool {

namespace {

// The number of letters to insert, remove, replace or swap with a neighbour.
std::size_t CountChanges(const std::string& from, const std::string& to) {
    std::vector<std::size_t> twoAbove;
    std::vector<std::size_t> above(to.size() + 1);
    std::iota(above.begin(), above.end(), 0);
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::vector<std::size_t> row(to.size() + 1, i);
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t replaced = above[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                row[j] = std::min(row[j], twoAbove[j - 2] + 1);
            }
        }
        twoAbove = std::move(above);
        above = std::move(row);
    }
    return above.back();
}

}  // namespace

std::string SuggestNearest(const std::string& name, const std::vector<std::string>& known) {
    constexpr std::size_t maxLength = 64;
    const std::string* nearest = nullptr;
    // Allows fewer changes in short names.
    std::size_t least = name.size() < 3 ? 1 : std::max<std::size_t>(2, name.size() / 3 + 1);
    if (name.size() > maxLength) {
        return {};
    }
    for (const std::string& candidate : known) {
        const std::size_t changes =
            candidate.size() > maxLength
                ? maxLength
                : CountChanges(Poco::toLower(name), Poco::toLower(candidate));
        if (changes < least) {
            least = changes;
            nearest = &candidate;
        }
    }
    return nearest == nullptr ? "" : "; did you mean " + Quoted(*nearest) + "?";
}

}  // namespace velmora::tool
