// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/row_loop.h"
#include "statistics/number_stats.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// Intervals between the rows of a stream that are longer than twice the usual one: the median of
/// the first thousand.
class GapFinder {
  public:
    struct Gaps {
        std::uint64_t count = 0;
        /// The limit that an interval has to exceed; 0 for a single row.
        std::int64_t limit = 0;
        std::int64_t longest = 0;
        std::int64_t longestBegin = 0;
    };

    /// \param time of the next row; times that do not ascend are left out
    void Add(std::int64_t time);
    Gaps Get();

  private:
    struct Interval {
        std::int64_t begin;
        std::int64_t length;
    };

    void SetLimit();
    void Judge(const Interval& interval);

    std::optional<std::int64_t> newest;
    std::vector<Interval> first;
    Gaps gaps;
};

/// Figures of the numbers of a stream's rows.
class StreamStats {
  public:
    struct Entry {
        std::string name;
        std::string unit;
        std::uint64_t missing = 0;
        NumberStats numbers{};
    };

    /// Adds the numbers of a row; text entries are left out. Each element of an array has its own
    /// figures.
    void Add(const Row& row);

    bool IsEmpty() const { return rows == 0; }
    std::uint64_t GetRows() const { return rows; }
    /// Times of the earliest and of the latest row.
    std::int64_t GetFirst() const { return first; }
    std::int64_t GetLast() const { return last; }
    /// Rows whose time lies before that of an earlier row.
    std::uint64_t GetLate() const { return late; }
    std::vector<Entry>& GetEntries() { return entries; }

  private:
    struct Place {
        unsigned short id;
        core::tessaryn::BaseType type;
        std::vector<std::size_t> elements;
    };

    void MakePlaces(const Row& row);
    std::size_t AddEntry(const Row& row, const Place& place, unsigned int index);

    std::uint64_t rows = 0;
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::uint64_t late = 0;
    std::vector<Place> places;
    std::vector<Entry> entries;
};

}  // namespace velmora::tool
