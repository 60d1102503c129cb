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

/// How samples are pushed again.
///
/// \threadsafety external
struct ReplayOptions {
    /// How much faster than they came; 0 pushes all at once.
    double speed = 1;
    /// Samples that a stream keeps, where the replay makes it.
    long maxSize = 1000;
    /// Time that passes, for `Run`; the steady clock unless given.
    std::function<std::chrono::microseconds()> now = {};
};

/// Counts of a replay.
struct ReplayStatistics {
    std::uint64_t pushed = 0;
    /// Samples of a layout that has no entry in common with the stream's type.
    std::uint64_t skipped = 0;
};

/// Pushes the samples of a history into streams again, with their own times, those of several
/// streams in the order of time.
///
/// A stream of the same path gets them; where there is none, it is made, with a type of the same
/// full name and version, which is made, too, where the repository has none. Where a stream's type
/// has another layout than the sample's, entries of the same name and value type are taken over,
/// the others keep their initial values.
///
/// Pushes happen on the thread that calls `Step`, `Advance` or `Run`, and nowhere else.
///
/// \threadsafety external, but for `Pause`, `Resume`, `Stop`, `Seek` and `SetSpeed`, which other
/// threads may call, and delegates of the streams, too
class STORAGE_API Replay {
  public:
    /// \param history must outlive the replay, as must the repositories; streams that are pushed to
    /// must not be removed meanwhile
    /// \param query as of `HistoryReader`; forwards
    /// \throws as `HistoryReader`; std::invalid_argument for a query backwards, and for a speed
    /// that is negative or not a number
    Replay(const History& history, HistoryQuery query, core::tessaryn::StreamTypeRepository& types,
           core::tessaryn::StreamRepository& streams, ReplayOptions options = {});
    Replay(const Replay&) = delete;
    Replay& operator=(const Replay&) = delete;
    ~Replay();

    /// Pushes the next sample, whatever the time, paused or not.
    /// \return whether there was one
    /// \throws HistoryException; what a rule or a delegate of the stream throws, when the sample is
    /// in the stream
    bool Step();
    /// Pushes what is due after some time has passed; nothing while paused. The first sample is due
    /// at once.
    /// \param elapsed since the call before
    /// \return how long until the next sample is due; nothing at the end, or after `Stop`
    /// \throws as `Step`
    std::optional<std::chrono::microseconds> Advance(std::chrono::microseconds elapsed);
    /// Pushes samples when they are due, until there is none left or `Stop` is called.
    /// \throws as `Step`
    void Run();

    void Pause();
    void Resume();
    /// Ends `Run`, after the push under way; then only `Step` pushes.
    void Stop();
    /// Goes on with the first sample stamped at a time or later.
    void Seek(const Poco::Timestamp& time);
    /// \throws std::invalid_argument as the constructor
    void SetSpeed(double speed);
    bool IsPaused() const;
    /// The time of the sample pushed last, or to which `Seek` went; nothing before.
    std::optional<Poco::Timestamp> GetTime() const;
    ReplayStatistics GetStatistics() const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation;
};

}  // namespace velmora::storage
