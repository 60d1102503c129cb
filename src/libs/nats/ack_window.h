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
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

namespace velmora::nats {

/// The last sample of a path of which the server has all predecessors.
struct Stored {
    std::uint64_t sequence = 0;
    std::int64_t time = 0;  ///< the sample's, in microseconds since the Unix epoch
};

/// The header that holds the state of `Stored` when the message was sent.
inline constexpr const char* storedHeader = "Tessaryn-Stored";

/// How the samples of one path are numbered and sent.
struct Track {
    std::string subject;
    std::uint32_t numbering = 0;
    std::uint64_t last = 0;  ///< the number assigned last
    Stored stored;           ///< written by the window while samples are in flight
};

/// The messages in flight to a JetStream stream. Sends messages in order. When the connection was
/// lost, a message was refused or the oldest has waited too long, sends all unacknowledged ones
/// again, in order and before any new one.
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

    /// \param onRefused called, without a lock, before messages that no JetStream stream accepted
    /// are sent again
    AckWindow(Connection& connection, std::size_t maxInFlight,
              std::chrono::milliseconds acknowledgeWithin, std::function<void()> onRefused);
    AckWindow(const AckWindow&) = delete;
    AckWindow& operator=(const AckWindow&) = delete;
    ~AckWindow();

    /// Sends the sample with the track's last number; waits for room first.
    /// \param track must outlive the window
    /// \return false when the window is closed
    bool Send(Track& track, std::int64_t time, std::string_view frame);

    /// Sends another message, which `Counts` does not include; waits for room first.
    /// \return false when the window is closed
    bool Send(const std::string& subject, std::string_view content);

    /// Wakes all waiting threads; nothing more is sent.
    void Close();

    /// Waits until everything sent is acknowledged.
    bool Wait(std::chrono::steady_clock::time_point deadline);

    Counts GetCounts() const;

  private:
    using Clock = std::chrono::steady_clock;
    using Statistics = std::unique_ptr<natsStatistics, Destroyer<natsStatistics_Destroy>>;

    struct Entry {
        Track* track = nullptr;
        std::string subject;  // where there is no track
        std::uint64_t sequence = 0;
        std::int64_t time = 0;
        std::string content;
        bool isSent = false;
        bool isAcknowledged = false;
    };

    static void OnReply(natsConnection* connection, natsSubscription* subscription, natsMsg* reply,
                        void* closure);

    bool Send(Entry&& entry);
    void Acknowledge(natsMsg* reply);
    void Refuse(std::string_view json);
    bool Transmit(std::uint64_t number, Entry& entry);
    void Repeat();
    void Watch();
    std::uint64_t CountReconnects();

    Connection& connection;
    const std::size_t maxInFlight;
    const std::chrono::milliseconds acknowledgeWithin;
    const std::function<void()> onRefused;
    std::string inbox;

    mutable std::mutex mutex;
    std::condition_variable changed;
    // Guarded by `mutex`: entry i has the number first + i.
    std::deque<Entry> entries;
    std::uint64_t first = 0;
    Counts counts;
    Clock::time_point progress;
    Clock::time_point lastLogged;
    Statistics statistics;
    std::uint64_t reconnects = 0;
    // A sent message may not have arrived, so it must be sent again before any new one.
    bool isInterrupted = false;
    bool isRefused = false;
    bool isClosed = false;

    Subscription replies;
    std::thread watcher;
};

}  // namespace velmora::nats
