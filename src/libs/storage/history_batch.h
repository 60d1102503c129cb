// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/history_catalogue.h"
#include "storage/history_database.h"
#include "storage/history_retention.h"
#include "storage/history_row.h"
#include "tessaryn/sample.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace velmora::storage {

/// A sample that waits to be written.
struct QueuedSample {
    template <class AnySample>
    QueuedSample(AnySample&& sample, const std::string* path, bool isOnlyIfNew)
        : sample(std::forward<AnySample>(sample)), path(path), isOnlyIfNew(isOnlyIfNew) {}

    core::tessaryn::Sample sample;
    /// \ownership observes: the stream's path, one address for each stream
    const std::string* path;
    /// Whether the sample is skipped if there is a row of the same time and values.
    bool isOnlyIfNew;
};

/// Writes samples in transactions, and deletes rows that exceed the limits.
///
/// \threadsafety external
class BatchWriter {
  public:
    /// The result of writing a batch.
    struct Result {
        std::uint64_t written = 0;
        std::uint64_t skipped = 0;  ///< samples that the history already had
        std::uint64_t refused = 0;  ///< samples that a history cannot hold
        std::string refusal = {};   ///< why the last refused sample was refused
    };

    /// \param isSynced whether each transaction waits for the disk
    /// \throws HistoryException
    BatchWriter(const std::string& path, std::chrono::milliseconds lockTimeout, bool isSynced);

    /// Writes all samples in one transaction.
    /// \throws HistoryException, std::bad_alloc: none of them is written then
    Result Write(const std::vector<QueuedSample>& batch);
    /// Deletes up to a number of rows that exceed the limits, in one transaction.
    /// \param now for the age
    /// \throws HistoryException
    std::uint64_t Retain(const HistoryRetention& limits, const Poco::Timestamp& now,
                         std::uint64_t maxRows);

  private:
    /// The table for samples of one stream and one state of a type.
    struct Target {
        std::uint64_t layoutNumber = 0;
        RowWriter* rows = nullptr;
    };

    RowWriter& RowsFor(const QueuedSample& queued);
    RowWriter& RowsOf(const std::shared_ptr<const StoredLayout>& layout);
    void Forget();

    HistoryConnection connection;
    std::map<std::int64_t, RowWriter> rowsByLayout;
    std::unordered_map<const std::string*, Target> targets;
    /// By layout, the last row that existed before this writer. Kept when a batch fails.
    std::map<std::int64_t, std::int64_t> formerRows;
    /// The tables that the current batch adds rows to.
    std::vector<RowWriter*> touched;
};

}  // namespace velmora::storage
