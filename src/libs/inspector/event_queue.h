// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace velmora::inspector {

/// Events that wait to be sent to one client. An event that does not fit is dropped and counted.
///
/// \threadsafety guarded: but for destruction
class EventQueue {
  public:
    explicit EventQueue(std::size_t maxBytes) : maxBytes(maxBytes) {}
    EventQueue(const EventQueue&) = delete;
    EventQueue& operator=(const EventQueue&) = delete;
    virtual ~EventQueue();

    /// \param name of the event
    /// \param data JSON, without line feeds
    /// \param isNeeded whether it is queued even when there is no room
    void Push(std::string_view name, std::string_view data, bool isNeeded = false);
    /// Whether there is no room for an event such as the last one.
    bool IsFull();
    /// Counts changes that were lost before they reached the queue.
    void AddLost(std::uint64_t count);
    /// The text to send. Lost changes are reported in their place.
    std::string Take();

  private:
    void AppendLost();

    const std::size_t maxBytes;
    std::mutex mutex;
    // Guarded by the mutex.
    std::string waiting;
    std::uint64_t lost = 0;
    std::size_t lastSize = 0;
};

}  // namespace velmora::inspector
