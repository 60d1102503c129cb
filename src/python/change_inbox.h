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

/// A queue in which the workers of a delivery leave changes for threads of Python, so that no
/// worker needs the GIL.
///
/// Its mutex is the last in the lock order: while it is held, nothing else is locked and no foreign
/// code is called.
///
/// \threadsafety guarded
class ChangeInbox {
  public:
    using Change = delivery::Change;

    struct Counts {
        std::uint64_t taken = 0;
        std::uint64_t dropped = 0;
    };

    /// \param capacity the most changes that wait
    /// \param overflow what happens to a further change; with `wait`, `Put` waits
    ChangeInbox(std::size_t capacity, delivery::Overflow overflow);
    ChangeInbox(const ChangeInbox&) = delete;
    ChangeInbox& operator=(const ChangeInbox&) = delete;
    ~ChangeInbox();

    /// Adds a change, whose sample is moved from. Called by a worker.
    void Put(Change& change);
    /// Declares that no more changes will come; waiting ones can still be taken.
    void End();
    /// As `End`, and drops waiting changes; all waiting calls return.
    void Close();

    /// Waits for a change and takes it. The previous one counts as handled from now on.
    /// `Change::dropped` is the number dropped since that one.
    /// \return nothing on timeout, or at the end
    std::optional<Change> Take(std::chrono::microseconds timeout);
    /// Whether `Take` will give no more changes.
    bool HasEnded() const;
    /// Waits until all changes added before this call have been handled or dropped.
    /// \return whether that happened in time
    bool Drain(std::chrono::microseconds timeout);
    Counts GetCounts() const;

    /// A descriptor that is readable while `Take` would return at once, also at the end.
    /// \return the descriptor, which belongs to this object
    /// \throws std::system_error when the process has no descriptor left
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
