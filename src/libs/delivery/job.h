// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/change.h"
#include "delivery/change_queue.h"
#include "delivery/options.h"

#include <chrono>
#include <cstddef>
#include <memory>

namespace velmora::delivery {

/// The changes that a worker handles in a turn, and their counts. A worker reuses it for all jobs,
/// so that handling changes allocates nothing.
struct Batch {
    ChangeQueue::Places changes;
    Change handed;
    DeliveryStatistics counts;
    std::chrono::nanoseconds lastHandler{};
};

/// Work that a scheduler's workers do in turns: a delivery.
///
/// \threadsafety guarded
class Job : public std::enable_shared_from_this<Job> {
  public:
    Job() = default;
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;
    virtual ~Job() = default;

    /// Does one turn of the work. Called by one worker at a time.
    /// \return whether there is more to do
    virtual bool Work(Batch& batch) = 0;
    /// Schedules the job if it has work. Called when the scheduler collects work at intervals.
    virtual void Look() = 0;
    /// Ends the job; waits for a worker that is executing it.
    virtual void Stop() = 0;
    /// Waits until the present work has been done.
    /// \return whether that happened in time
    virtual bool Drain(std::chrono::milliseconds timeout) = 0;
    virtual DeliveryStatistics GetStatistics() const = 0;

  private:
    friend class Scheduler;

    // Links of the scheduler's lists, guarded by its mutex.
    std::shared_ptr<Job> nextReady;
    Job* previousRegistered = nullptr;
    Job* nextRegistered = nullptr;
};

}  // namespace velmora::delivery
