// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/name_suggestion.h"

#include <Poco/Ascii.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace velmora::core::tessaryn {

namespace {

constexpr std::size_t maxLength = 64;
constexpr std::size_t maxEdits = 3;

bool IsSame(char a, char b) {
    return Poco::Ascii::toLower(a) == Poco::Ascii::toLower(b);
}

// Inserted, removed, replaced and swapped characters between two texts, regardless of case; any
// number from `limit` on when there are so many. Row by row through the table of the edits between
// their beginnings, where no row is less than the smaller of the two rows above it.
std::size_t CountEdits(std::string_view a, std::string_view b, std::size_t limit) {
    using Row = std::array<std::size_t, maxLength + 1>;
    std::array<Row, 3> rows{};
    for (std::size_t j = 0; j <= b.size(); ++j) {
        rows[0][j] = j;
    }
    std::size_t smallestAbove = 0;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        Row& row = rows[i % 3];
        const Row& above = rows[(i + 2) % 3];
        row[0] = i;
        std::size_t smallest = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = above[j - 1] + (IsSame(a[i - 1], b[j - 1]) ? 0U : 1U);
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, replaced});
            if (i > 1 && j > 1 && IsSame(a[i - 1], b[j - 2]) && IsSame(a[i - 2], b[j - 1])) {
                row[j] = std::min(row[j], rows[(i + 1) % 3][j - 2] + 1);
            }
            smallest = std::min(smallest, row[j]);
        }
        if (std::min(smallest, smallestAbove) >= limit) {
            return limit;
        }
        smallestAbove = smallest;
    }
    return rows[a.size() % 3][b.size()];
}

}  // namespace

std::string FindClosestName(std::string_view name, const std::vector<std::string>& candidates) {
    const std::string* closest = nullptr;
    std::size_t allowed = std::min(name.size() / 3, maxEdits) + 1;
    for (const std::string& candidate : candidates) {
        const std::size_t shorter = std::min(name.size(), candidate.size());
        const std::size_t longer = std::max(name.size(), candidate.size());
        if (longer > maxLength || longer - shorter >= allowed) {
            continue;
        }
        const std::size_t edits = CountEdits(name, candidate, allowed);
        if (edits < allowed) {
            closest = &candidate;
            allowed = edits;
        }
    }
    return closest == nullptr ? std::string() : *closest;
}

}  // namespace velmora::core::tessaryn
