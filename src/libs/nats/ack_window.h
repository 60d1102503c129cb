// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "nats/connection.h"
#include "nats/nats_objects.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace velmora::nats {

/// Messages on their way to a JetStream stream: sends them in order, and all that are not
/// acknowledged again, in order, when the connection was lost or the oldest has waited too long.
///
/// \threadsafety guarded
class AckWindow {
  public:
    struct Counts {
        std::uint64_t acknowledged = 0;
        std::uint64_t duplicates = 0;
        std::uint64_t repeated = 0;
        std::uint64_t refused = 0;
        std::uint64_t inFlight = 0;
    };

    AckWindow(Connection& connection, std::size_t maxInFlight,
              std::chrono::milliseconds acknowledgeWithin);
    AckWindow(const AckWindow&) = delete;
    AckWindow& operator=(const AckWindow&) = delete;
    ~AckWindow();

    /// Sends a message; waits for room first.
    /// \param messageId by which the server knows a message that it has
    /// \param isCounted whether `Counts` has it
    /// \return false when the window is closed
    bool Send(const std::string& subject, std::string messageId, std::string_view content,
              bool isCounted);

    /// Wakes whoever waits; nothing is sent any more.
    void Close();

    /// Waits until everything sent is acknowledged.
    bool Wait(std::chrono::steady_clock::time_point deadline);

    Counts GetCounts() const;

  private:
    using Clock = std::chrono::steady_clock;

    struct Entry {
        std::string subject;
        std::string messageId;
        std::string content;
        bool isCounted = true;
        bool isAcknowledged = false;
    };

    static void OnReply(natsConnection* connection, natsSubscription* subscription, natsMsg* reply,
                        void* closure);

    void Acknowledge(natsMsg* reply);
    void Transmit(std::uint64_t number, const Entry& entry);
    void Watch();
    void LogRefusal(const std::string& reason);

    Connection& connection;
    const std::size_t maxInFlight;
    const std::chrono::milliseconds acknowledgeWithin;
    std::string inbox;

    mutable std::mutex mutex;
    std::condition_variable changed;
    // Guarded by `mutex`: entry i has the number first + i.
    std::deque<Entry> entries;
    std::uint64_t first = 0;
    Counts counts;
    Clock::time_point progress;
    Clock::time_point lastLogged;
    bool isRefused = false;
    bool isClosed = false;

    Subscription replies;
    std::thread watcher;
};

}  // namespace velmora::nats
