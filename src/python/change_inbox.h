// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/change.h"
#include "delivery/options.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>

namespace velmora::python {

/// Where the workers of a delivery leave changes for a thread of Python, so that no worker ever
/// needs the GIL.
///
/// Its mutex is the last of all: nothing is locked, and no foreign code called, under it.
///
/// \threadsafety guarded
class ChangeInbox {
  public:
    using Change = delivery::Change;

    struct Counts {
        std::uint64_t taken = 0;
        std::uint64_t dropped = 0;
    };

    /// \param capacity changes that wait at most
    /// \param overflow what happens to one change more; `wait` has `Put` wait
    ChangeInbox(std::size_t capacity, delivery::Overflow overflow);
    ChangeInbox(const ChangeInbox&) = delete;
    ChangeInbox& operator=(const ChangeInbox&) = delete;
    ~ChangeInbox();

    /// Leaves a change; the sample is moved out. Called by a worker.
    void Put(Change& change);
    /// No change will come any more; those that wait can still be taken.
    void End();
    /// Ends, drops what waits, and has all waiting calls return.
    void Close();

    /// Waits for a change and takes it. The one taken before counts as handled from now on.
    /// `Change::dropped` is what was dropped since that one.
    /// \return nothing when the time is over, or at the end
    std::optional<Change> Take(std::chrono::microseconds timeout);
    /// Whether `Take` will give nothing any more.
    bool HasEnded() const;
    /// Waits until what was put in before this call has been handled or dropped.
    /// \return whether that happened in time
    bool Drain(std::chrono::microseconds timeout);
    Counts GetCounts() const;

    /// A descriptor that is readable while there is something to take, the end included.
    /// \return it belongs to this object
    /// \throws std::system_error when there is none left
    int GetDescriptor();

  private:
    bool IsFull() const { return waiting.size() >= capacity; }
    void Signal();
    void Unsignal();

    const std::size_t capacity;
    const delivery::Overflow overflow;
    mutable std::mutex guard;
    // Guarded by the mutex.
    std::deque<Change> waiting;
    Counts counts;
    std::uint64_t lastPut = 0;
    std::uint64_t lastTaken = 0;
    bool isInHand = false;
    bool hasEnded = false;
    int descriptor = -1;
    std::condition_variable arrived;
    std::condition_variable left;
};

}  // namespace velmora::python
