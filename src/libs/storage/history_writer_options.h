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

/// What a history keeps at most; zero means no limit. What exceeds it is deleted in small steps
/// beside the writing, the oldest first.
///
/// \threadsafety external
struct HistoryRetention {
    std::chrono::microseconds maxAge = std::chrono::microseconds(0);  ///< by the clock
    std::uint64_t maxRows = 0;                                        ///< of each stream
    /// Bytes of the file that are in use. Space of deleted rows is used again, so the file stays
    /// about as long; it does not become shorter.
    std::uint64_t maxBytes = 0;
    std::size_t stepSize = 1000;  ///< rows deleted at a time, or as many as were just written
};

/// How samples are written to a history.
///
/// \threadsafety external
struct HistoryWriterOptions {
    /// Samples in a transaction at most.
    std::size_t maxBatch = 10'000;
    /// How long a sample waits for others of its transaction at most.
    std::chrono::milliseconds interval = std::chrono::seconds(1);
    /// Samples that wait at most, those of the transaction under way included.
    std::size_t capacity = 100'000;
    /// After which time writing is tried again when it has failed.
    std::chrono::milliseconds retryInterval = std::chrono::seconds(1);
    /// How long a transaction waits for one of another process.
    std::chrono::milliseconds lockTimeout = std::chrono::seconds(1);
    /// Whether each transaction waits for the disk: then a loss of power loses none that was
    /// committed. A crash of the process never does.
    bool isSynced = false;
    HistoryRetention retention = {};
    /// The time by which samples are too old; the clock unless given.
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
    std::uint64_t skipped = 0;   ///< samples of `WriteIfNew` that the history had
    std::uint64_t lost = 0;      ///< samples that found no room, or that a history cannot hold
    std::uint64_t waiting = 0;   ///< samples in the queue
    std::uint64_t commits = 0;   ///< transactions with samples
    std::uint64_t failures = 0;  ///< transactions that failed
    std::uint64_t deleted = 0;   ///< rows that exceeded the limits
    /// How long the oldest sample in the queue has waited.
    std::chrono::microseconds behind = std::chrono::microseconds(0);
    /// Why the last transaction failed; empty when it did not.
    std::string lastError = {};
};

}  // namespace velmora::storage
