// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/rule_conditions.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace velmora::core::tessaryn {

/// An index of rules that require a value, an interval, or both: a table of the values and, for
/// each value, the intervals in ascending order of their lower ends.
///
/// A search takes a look-up, a binary search, and time proportional to the result.
///
/// \threadsafety external
class ConditionGroup {
  public:
    struct Entry {
        /// The required value; 0 if the group has none.
        std::uint64_t value = 0;
        std::uint64_t low = 0;
        std::uint64_t high = Reading::greatest;
        /// For a `textOrder`, whose `low` and `high` are a `Condition::TextBound`.
        std::string_view text = {};
        std::uint32_t position = 0;
    };

    enum class Form : unsigned char { value, interval, valueAndInterval };

    /// \param isText whether the interval is of texts
    ConditionGroup(Form form, bool isText, std::vector<Entry> entries);

    std::size_t Size() const { return positions.size(); }

    /// The reading of a text for a group of texts.
    Reading Rank(std::string_view text, bool isAny) const;

    /// Appends the positions of the entries that match, unordered.
    /// \param value ignored if the group has none
    /// \param interval ignored if the group has none
    void Find(const Reading& value, const Reading& interval,
              std::vector<std::uint32_t>& found) const;

  private:
    struct Range {
        std::size_t begin;
        std::size_t end;
    };

    void RankTexts(std::vector<Entry>& entries);
    void MakeTable();
    void MakeLevels();
    Range FindValue(std::uint64_t value) const;
    void FindIntervals(Range range, const Reading& interval,
                       std::vector<std::uint32_t>& found) const;

    /// Entries in a block of a level, and the size of a range that is searched without them.
    static constexpr std::size_t blockSize = 16;
    static constexpr std::uint32_t noEntry = static_cast<std::uint32_t>(-1);

    Form form;
    // The entries' fields, in ascending order of value and lower end; empty if the group has none.
    std::vector<std::uint64_t> values;
    std::vector<std::uint64_t> lows;
    std::vector<std::uint64_t> highs;
    std::vector<std::uint32_t> positions;
    // The first entry of each value, by hash. The size is a power of 2.
    std::vector<std::uint32_t> table;
    // The greatest upper end of each block of entries, then of each block of those, and so on.
    std::vector<std::vector<std::uint64_t>> levels;
    // The bounds of intervals of texts, ascending.
    std::vector<std::string_view> texts;
};

}  // namespace velmora::core::tessaryn
