// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/action.h"
#include "serve/service_log.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace velmora::tool {

/// Threads that handle the events of a bounded queue; events that do not fit are dropped, counted
/// and logged.
///
/// \threadsafety guarded
class ActionQueue {
  public:
    using Work = std::function<void(const Event&)>;

    struct Options {
        /// The action's name for messages: "command 'mail'".
        std::string name;
        std::size_t maxRunning = 1;
        std::size_t maxWaiting = 1;
        /// Called to end running work at once.
        std::function<void()> onGivenUp{};
    };

    /// \param work called on the threads; what it throws is logged
    ActionQueue(Options options, ServiceLog& log, Work work);
    ActionQueue(const ActionQueue&) = delete;
    ActionQueue& operator=(const ActionQueue&) = delete;
    /// As `Close` at once.
    ~ActionQueue();

    void Push(const std::shared_ptr<const Event>& event);

    /// Waits for the work until a time, then drops the rest.
    void Close(Action::Clock::time_point until);

    /// Whether running work has to end at once.
    bool IsGivenUp() const;
    /// A descriptor that is readable from then on.
    int GetEndDescriptor() const { return endDescriptor; }
    /// Waits for a time, or until work has to end.
    /// \return whether work may continue
    bool Pause(std::chrono::milliseconds time) const;

  private:
    void Run();
    void Do(const Event& event);

    Options options;
    ServiceLog& log;
    Work work;
    int endDescriptor;
    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    // Guarded by the mutex.
    std::deque<std::shared_ptr<const Event>> waiting;
    std::size_t running = 0;
    bool closed = false;
    bool givenUp = false;
    std::vector<std::thread> threads;
};

}  // namespace velmora::tool
