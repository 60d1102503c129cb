// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/history_batch.h"
#include "storage/history_writer_options.h"
#include "tessaryn/sample.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <unordered_set>
#include <utility>
#include <vector>

namespace velmora::storage {

/// The samples that wait to be written to a history, and the thread that writes them.
///
/// Samples wait in chunks of a transaction's size. The thread takes one, writes it without the
/// lock, and keeps it until it is committed.
///
/// \threadsafety guarded
class HistoryQueue {
    using Clock = std::chrono::steady_clock;
    using Lock = std::unique_lock<std::mutex>;

  public:
    HistoryQueue(const std::string& file, HistoryWriterOptions options);
    HistoryQueue(const HistoryQueue&) = delete;
    HistoryQueue& operator=(const HistoryQueue&) = delete;
    /// As `Close`, but throws nothing.
    ~HistoryQueue();

    /// As `HistoryWriter::Write`.
    /// \param sample copied, or moved from; forwarded, since each further move would read the clock
    template <class AnySample>
    void Push(const std::string& path, AnySample&& sample, bool isOnlyIfNew) {
        Lock lock(mutex);
        BeginPush(lock);
        GetChunk(path).emplace_back(std::forward<AnySample>(sample), lastPath, isOnlyIfNew);
        EndPush();
    }
    /// As `Push`, but a sample that finds no room or a closed queue is only counted.
    void TryPush(const std::string& path, core::tessaryn::Sample&& sample, bool isOnlyIfNew);
    void Flush();
    void Close();
    HistoryWriterStatistics GetStatistics() const;

  private:
    struct Chunk {
        std::vector<QueuedSample> samples = {};
        Clock::time_point begin = {};  ///< when the first one was added
    };

    bool WaitForRoom(Lock& lock);
    void BeginPush(Lock& lock);
    std::vector<QueuedSample>& GetChunk(const std::string& path);
    void EndPush();
    BatchWriter& GetWriter();
    void Run();
    bool IsEmpty() const { return appended == processed; }
    Clock::time_point NextWrite() const;
    Clock::time_point NextRetention() const;
    void WriteBatch(Lock& lock);
    void Finish(const BatchWriter::Result& result, std::size_t size);
    void Fail(const std::exception_ptr& error, const std::string& message);
    void Retain(Lock& lock);
    void Report(const std::exception& error) const noexcept;

    const std::string file;
    const HistoryWriterOptions options;

    // Used by the thread only, except during construction and at the end. `writer` is null after a
    // failure that may require opening the file again; `inHand` is being written.
    std::unique_ptr<BatchWriter> writer;
    Chunk inHand;

    mutable std::mutex mutex;
    // All below guarded by the mutex.
    std::deque<Chunk> chunks;
    /// The queued samples point to these.
    std::unordered_set<std::string> paths;
    const std::string* lastPath = nullptr;
    HistoryWriterStatistics counts;
    /// Samples that have entered and left the queue so far.
    std::uint64_t appended = 0;
    std::uint64_t processed = 0;
    /// A call of `Flush` is waiting.
    bool isFlushing = false;
    /// There may be rows that exceed the limits.
    bool hasSurplus = false;
    std::size_t lastBatch = 0;
    Clock::time_point firstInHand;
    Clock::time_point retryTime;
    Clock::time_point retentionTime;
    std::exception_ptr failure;  ///< of the last transaction; null when it did not fail
    bool isStopping = false;
    bool isStopped = false;
    std::condition_variable workAdded;
    std::condition_variable workDone;
    std::thread thread;
};

}  // namespace velmora::storage
