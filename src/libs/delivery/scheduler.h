// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/options.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace velmora::delivery {

class Job;

/// The workers of a dispatcher, the queue of jobs that have work, and timers.
///
/// A worker without work polls at short intervals for a while before it sleeps, so that a steady
/// flow of changes costs the pushers no system call to wake it. With an interval, workers are not
/// woken, but look at all jobs at that interval.
///
/// \threadsafety guarded
class Scheduler {
  public:
    /// A scheduler with running workers, each of which keeps it alive.
    static std::shared_ptr<Scheduler> Start(const DispatcherOptions& options);
    explicit Scheduler(std::chrono::milliseconds interval) : interval(interval) {}
    Scheduler(const Scheduler&) = delete;
    Scheduler& operator=(const Scheduler&) = delete;
    ~Scheduler();

    /// Appends a job to the list; a worker will call its `Work`.
    void Schedule(std::shared_ptr<Job> job);
    /// Makes a worker look for work before its interval is over.
    void Hurry();
    /// Whether workers look for work at intervals instead of being woken.
    bool Gathers() const { return interval.count() > 0; }
    /// Makes a worker call a function after each pause, until it returns false.
    void AddTimer(std::chrono::milliseconds pause, std::function<bool()> task);
    /// Stops all jobs, then the workers. Called on a worker, it does not wait for that one to end.
    void Stop();
    /// Whether the calling thread is a worker of this scheduler.
    bool IsWorker() const;

    /// \name All living jobs, for statistics and for `Stop`
    ///@{
    void Register(Job& job);
    void Unregister(Job& job, const DeliveryStatistics& counts);
    std::vector<std::shared_ptr<Job>> GetJobs() const;
    DeliveryStatistics GetStatistics() const;
    ///@}

  private:
    using Clock = std::chrono::steady_clock;
    using Lock = std::unique_lock<std::mutex>;
    struct Timer {
        Clock::time_point due;
        std::chrono::milliseconds pause;
        std::function<bool()> task;
    };

    void Run(const std::function<void()>& onStart);
    std::shared_ptr<Job> TakeReady();
    void WaitForWork(Lock& lock, int& looks);
    void LookForWork(Lock& lock);
    void RunDueTimer(Lock& lock);
    Clock::time_point NextTimer() const;

    const std::chrono::milliseconds interval;

    mutable std::mutex mutex;
    // All guarded by the mutex.
    std::condition_variable workAdded;
    std::shared_ptr<Job> firstReady;
    Job* lastReady = nullptr;
    Job* registered = nullptr;
    DeliveryStatistics past;
    std::vector<Timer> timers;
    std::vector<std::thread> workers;
    std::size_t sleepers = 0;
    std::size_t lookers = 0;
    bool isHurried = false;
    bool isStopping = false;
};

}  // namespace velmora::delivery
