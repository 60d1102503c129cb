// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <Poco/Timestamp.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <string>

namespace velmora::storage {

/// The limits of a history; zero means no limit. Rows that exceed them are deleted in small steps
/// between writes, the oldest first.
///
/// \threadsafety external
struct HistoryRetention {
    std::chrono::microseconds maxAge = std::chrono::microseconds(0);  ///< by the samples' times
    std::uint64_t maxRows = 0;                                        ///< of each stream
    /// Bytes of the file that are in use. The space of deleted rows is reused; the file does not
    /// shrink.
    std::uint64_t maxBytes = 0;
    std::size_t stepSize = 1000;  ///< rows deleted at a time; as many as were just written, if more
};

/// How samples are written to a history.
///
/// \threadsafety external
struct HistoryWriterOptions {
    /// The most samples of a transaction.
    std::size_t maxBatch = 10'000;
    /// The longest time that a sample waits for others of its transaction.
    std::chrono::milliseconds interval = std::chrono::seconds(1);
    /// The most samples that wait, including those of the current transaction.
    std::size_t capacity = 100'000;
    /// How long after a failure writing is tried again.
    std::chrono::milliseconds retryInterval = std::chrono::seconds(1);
    /// How long a transaction waits for that of another process.
    std::chrono::milliseconds lockTimeout = std::chrono::seconds(1);
    /// Whether each transaction waits for the disk, so that committed samples also survive a loss
    /// of power. They always survive a crash of the process.
    bool isSynced = false;
    HistoryRetention retention = {};
    /// The current time, from which ages are measured; the system clock unless given.
    std::function<Poco::Timestamp()> now = {};
    /// Called on the writer's thread when writing has failed, and for samples that a history cannot
    /// hold.
    std::function<void(const std::exception&)> onError = {};
};

/// Counts of a writer.
///
/// Always: accepted = written + skipped + lost + waiting.
///
/// \threadsafety external
struct HistoryWriterStatistics {
    std::uint64_t accepted = 0;  ///< samples given to the writer, and changes that queues dropped
    std::uint64_t written = 0;   ///< samples committed
    std::uint64_t skipped = 0;   ///< samples of `WriteIfNew` that the history already had
    std::uint64_t lost = 0;      ///< samples that found no room, or that a history cannot hold
    std::uint64_t waiting = 0;   ///< samples in the queue
    std::uint64_t commits = 0;   ///< transactions with samples
    std::uint64_t failures = 0;  ///< transactions that failed
    std::uint64_t deleted = 0;   ///< rows deleted since they exceeded the limits
    /// How long the oldest sample in the queue has waited.
    std::chrono::microseconds behind = std::chrono::microseconds(0);
    /// Why the last transaction failed; empty when it did not.
    std::string lastError = {};
};

}  // namespace velmora::storage
