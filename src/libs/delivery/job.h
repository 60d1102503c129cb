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

/// What a worker has in hand, and what came of it. The last change is kept from job to job, so that
/// handling changes allocates nothing.
struct Batch {
    ChangeQueue::Places changes;
    Change handed;
    DeliveryStatistics counts;
    std::chrono::nanoseconds lastHandler{};
};

/// Something that the workers of a scheduler do bit by bit: a delivery.
///
/// \threadsafety guarded
class Job : public std::enable_shared_from_this<Job> {
  public:
    Job() = default;
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;
    virtual ~Job() = default;

    /// Does a bit of the work; for workers, one at a time.
    /// \return whether there is more to do
    virtual bool Work(Batch& batch) = 0;
    /// Schedules the job if there is something to do; where the scheduler has work gather.
    virtual void Look() = 0;
    /// Ends the job; waits for a worker that is at it.
    virtual void Stop() = 0;
    /// Waits until what there is to do has been done.
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
