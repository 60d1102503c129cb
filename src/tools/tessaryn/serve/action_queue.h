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

/// Threads that do something with each event of a bounded queue; events that find it full are
/// dropped, counted and logged.
///
/// \threadsafety guarded
class ActionQueue {
  public:
    using Work = std::function<void(const Event&)>;

    struct Options {
        /// Of the action, for messages: "command 'mail'".
        std::string name;
        std::size_t maxRunning = 1;
        std::size_t maxWaiting = 1;
        /// Called when work under way is to end at once.
        std::function<void()> onGivenUp{};
    };

    /// \param work called on the threads; what it throws is logged
    ActionQueue(Options options, ServiceLog& log, Work work);
    ActionQueue(const ActionQueue&) = delete;
    ActionQueue& operator=(const ActionQueue&) = delete;
    /// As `Close` at once.
    ~ActionQueue();

    void Push(const std::shared_ptr<const Event>& event);

    /// Waits for the work until a time; then gives up what is left.
    void Close(Action::Clock::time_point until);

    /// Whether work under way is to end at once.
    bool IsGivenUp() const;
    /// Can be read from then on.
    int GetEndDescriptor() const { return endDescriptor; }
    /// Waits for a time, or until work is to end.
    /// \return whether it is not
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
