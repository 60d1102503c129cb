// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/export.h"
#include "storage/history_reader.h"

#include <Poco/Timestamp.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace velmora::core::tessaryn {
class StreamRepository;
class StreamTypeRepository;
}  // namespace velmora::core::tessaryn

namespace velmora::storage {

/// Options of a replay.
///
/// \threadsafety external
struct ReplayOptions {
    /// The pace relative to the samples' times; 0 pushes all of them without waiting.
    double speed = 1;
    /// The capacity of streams that the replay adds.
    long maxSize = 1000;
    /// The clock of `Run`; the steady clock unless given.
    std::function<std::chrono::microseconds()> now = {};
};

/// Counts of a replay.
struct ReplayStatistics {
    std::uint64_t pushed = 0;
    /// Samples of a layout that has no entry in common with the stream's type.
    std::uint64_t skipped = 0;
};

/// Pushes the samples of a history into streams again, with their own times, all streams together
/// in the order of time.
///
/// Samples are pushed into the stream of the same path. A missing stream is added, with the type of
/// the same full name and version, which is added as well if it is missing. If a stream's type has
/// another layout than the sample's, entries of the same name and value type are copied; the others
/// keep their initial values.
///
/// Pushes happen only on the thread that calls `Step`, `Advance` or `Run`.
///
/// \threadsafety external, except for `Pause`, `Resume`, `Stop`, `Seek` and `SetSpeed`, which other
/// threads and delegates of the streams may call
class STORAGE_API Replay {
  public:
    /// \param history must outlive the replay, as must the repositories; streams that it pushes to
    /// must not be removed meanwhile
    /// \param query as for `HistoryReader`; must read forwards
    /// \throws as `HistoryReader`; std::invalid_argument for a query that reads backwards, and for
    /// a speed that is negative or not a number
    Replay(const History& history, HistoryQuery query, core::tessaryn::StreamTypeRepository& types,
           core::tessaryn::StreamRepository& streams, ReplayOptions options = {});
    Replay(const Replay&) = delete;
    Replay& operator=(const Replay&) = delete;
    ~Replay();

    /// Pushes the next sample at once, even while paused.
    /// \return whether there was one
    /// \throws HistoryException; what a rule or a delegate of the stream throws, after the sample
    /// was stored
    bool Step();
    /// Pushes the samples that are due after some time has passed; none while paused. The first
    /// sample is due at once.
    /// \param elapsed time since the previous call
    /// \return how long until the next sample is due; nothing at the end, or after `Stop`
    /// \throws as `Step`
    std::optional<std::chrono::microseconds> Advance(std::chrono::microseconds elapsed);
    /// Pushes samples when they are due, until there is none left or `Stop` is called.
    /// \throws as `Step`
    void Run();

    void Pause();
    void Resume();
    /// Ends `Run` after the current push; after that only `Step` pushes.
    void Stop();
    /// Continues with the first sample stamped at a time or later.
    void Seek(const Poco::Timestamp& time);
    /// \throws std::invalid_argument as the constructor
    void SetSpeed(double speed);
    bool IsPaused() const;
    /// The time of the sample pushed last, or that of the last `Seek`; nothing before the first.
    std::optional<Poco::Timestamp> GetTime() const;
    ReplayStatistics GetStatistics() const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation;
};

}  // namespace velmora::storage
