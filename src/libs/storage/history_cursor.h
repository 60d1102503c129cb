// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/history_catalogue.h"
#include "storage/history_database.h"
#include "storage/history_row.h"
#include "tessaryn/sample.h"

#include <cstdint>
#include <limits>
#include <memory>

namespace velmora::storage {

/// The rows of one layout's table in the order of time, and of arrival where times are equal; or in
/// the reverse order.
///
/// While it has a row, its connection reads a snapshot of the file, and the write-ahead log grows;
/// `Suspend` ends that.
///
/// \threadsafety external
class HistoryCursor {
  public:
    /// Times in microseconds, both included.
    struct Range {
        std::int64_t from = std::numeric_limits<std::int64_t>::min();
        std::int64_t to = std::numeric_limits<std::int64_t>::max();
        bool isBackwards = false;
    };

    HistoryCursor(const Database& database, std::shared_ptr<const StoredLayout> layout,
                  const Range& range);

    bool IsBackwards() const { return range.isBackwards; }

    /// Goes to the first row that has not been passed. Call it in a transaction if several cursors
    /// are to see the same state.
    void Start();
    bool HasRow() const { return hasRow; }
    std::int64_t GetTime() const { return time; }
    std::int64_t GetSequence() const { return row.GetInt(0); }
    /// The sample of the row; changed by the next call.
    core::tessaryn::Sample& Read();
    /// Passes the row.
    void Advance();
    void Suspend();
    /// Makes `Start` go to the first row behind a time and sequence number, in the direction of
    /// reading.
    void Pass(std::int64_t newTime, std::int64_t newSequence);

  private:
    std::string Where() const;
    void BindRange(Statement& statement) const;
    bool IsInOrder() const;
    void StartByIndex();
    void StartBySequence();
    void Step();
    [[noreturn]] void ThrowDisorder() const;

    const Database& database;
    std::shared_ptr<const StoredLayout> layout;
    Range range;
    RowReader reader;
    Statement row;
    bool hasRow = false;
    std::int64_t time = 0;
    /// The last row passed.
    std::int64_t passedTime;
    std::int64_t passedSequence;
};

}  // namespace velmora::storage
