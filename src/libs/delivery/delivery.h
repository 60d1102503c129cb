// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/export.h"
#include "delivery/options.h"

#include <Poco/Timestamp.h>

#include <chrono>
#include <memory>

namespace velmora::delivery {

class Channel;

/// The handle of a subscription whose handler runs on a dispatcher's workers. The destructor ends
/// the subscription.
///
/// The handle may outlive the stream and the dispatcher; both end the delivery.
///
/// \threadsafety guarded: but for assignment and destruction
class DELIVERY_API Delivery {
  public:
    /// A handle without a subscription: ended, with all counts zero.
    Delivery();
    explicit Delivery(std::shared_ptr<Channel> channel);
    Delivery(Delivery&& other) noexcept;
    /// Stops the delivery held before.
    Delivery& operator=(Delivery&& other) noexcept;
    /// As `Stop`.
    ~Delivery();

    /// Ends the delivery. Waits for a running handler; after this the handler has been destroyed,
    /// and what it refers to may be destroyed as well. Queued changes are dropped.
    ///
    /// Called from the handler itself, this returns at once, and that call of the handler is the
    /// last one. Must not be called by a thread that the handler waits for, such as one that holds
    /// a stream's lock which the handler needs; two handlers must not stop each other.
    void Stop();
    /// Waits until the changes that were queued when this was called have been handled or dropped;
    /// if the stream has gone, until the delivery has ended.
    /// \return whether that happened in time; false at once from the handler itself
    bool Drain(std::chrono::milliseconds timeout);
    /// Lets the conditions deliver the changes that they hold back.
    /// \param now the event time by which they are due; all of them unless given
    void Flush(const Poco::Timestamp& now = Poco::Timestamp::TIMEVAL_MAX);
    /// Whether the handler will not be called again: after `Stop`, or when the stream has gone or
    /// dropped its subscriptions and the queued changes have been handled.
    bool HasEnded() const;
    DeliveryStatistics GetStatistics() const;

  private:
    friend class GroupState;

    std::shared_ptr<Channel> channel;
};

}  // namespace velmora::delivery
