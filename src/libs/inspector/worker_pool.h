// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace velmora::inspector {

/// Threads that run functions in the order in which they were posted.
///
/// \threadsafety guarded: but for construction and destruction
class WorkerPool {
  public:
    explicit WorkerPool(std::size_t threads);
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;
    /// Waits until everything posted has run.
    ~WorkerPool();

    /// \param job must not throw
    void Post(std::function<void()> job);

  private:
    void Run();
    void Stop();

    std::mutex mutex;
    std::condition_variable added;
    std::deque<std::function<void()>> jobs;  ///< guarded by `mutex`
    bool isStopping = false;                 ///< guarded by `mutex`
    std::vector<std::thread> workers;
};

}  // namespace velmora::inspector
