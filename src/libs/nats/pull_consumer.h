// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "nats/connection.h"
#include "nats/jet_stream.h"
#include "nats/nats_objects.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace velmora::nats {

/// What the server reports about a delivered message.
struct Delivery {
    std::uint64_t inStream = 0;    ///< its number in the JetStream stream
    std::uint64_t inConsumer = 0;  ///< its number among the consumer's deliveries, from 1
    std::int64_t time = 0;         ///< when the server stored it: nanoseconds since the Unix epoch
    std::uint64_t behind = 0;      ///< messages after it
};

/// Parses the reply subject of a delivered message; nothing if it is not one.
std::optional<Delivery> ParseDelivery(std::string_view reply);

/// A consumer of one subject on the server, which delivers all messages in the order of the
/// JetStream stream.
///
/// Requests messages before they are needed, so that the server never waits for a request. When
/// messages may have been lost, with the connection, the server or the consumer, it becomes
/// inactive, and the caller has to call `Begin` again.
///
/// A durable consumer delivers unacknowledged messages again, before all others.
///
/// \threadsafety external
class PullConsumer {
  public:
    /// Messages of a request.
    static constexpr std::uint64_t batchSize = 2000;

    struct Delivered {
        Message message;  ///< null if none has arrived
        Delivery delivery;
    };

    /// \param durable the consumer's name; empty for one that needs no acknowledgements and is
    /// deleted when it is not used
    PullConsumer(const Connection& connection, const JetStream& jetStream, std::string subject,
                 std::string durable, std::chrono::milliseconds acknowledgeWithin);
    PullConsumer(const PullConsumer&) = delete;
    PullConsumer& operator=(const PullConsumer&) = delete;
    ~PullConsumer() { End(); }

    /// Finds the consumer, or creates it.
    /// \param setStart sets the start of a new consumer
    /// \return false when the server does not answer or refuses
    bool Begin(const std::function<void(jsConsumerConfig&)>& setStart);
    bool IsActive() const { return subscription != nullptr; }
    void End() { connection.Destroy(subscription.release()); }

    /// The next message; null if none arrives in time, or the consumer is no longer active.
    Delivered Next(std::chrono::milliseconds timeout);

    /// Acknowledges a message and all before it.
    /// \param reply the message's reply subject
    void Acknowledge(const std::string& reply);

  private:
    using Clock = std::chrono::steady_clock;

    natsStatus FindOrMake(const std::function<void(jsConsumerConfig&)>& setStart);
    bool AskAgain(const jsConsumerInfo& info);
    bool IsUsable(const jsConsumerConfig& config);
    void Request();
    void TakeStatus(natsMsg* status);
    bool IsInOrder(const Delivery& delivery);

    const Connection& connection;
    const JetStream& jetStream;
    const std::string subject;
    const std::string durable;
    const std::chrono::milliseconds acknowledgeWithin;
    std::string requestSubject;
    std::string inbox;
    Subscription subscription;
    unsigned long long reconnects = 0;
    std::uint64_t requested = 0;
    std::uint64_t expected = 0;
    Clock::time_point heard;
    Clock::time_point asked;
    // Unacknowledged messages of earlier deliveries, which come first.
    std::uint64_t outstanding = 0;
    std::uint64_t outstandingUpTo = 0;
    bool hasComeAgain = false;
    Clock::time_point notBefore;
    int disorders = 0;
    bool isToldOf = false;
};

}  // namespace velmora::nats
