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
    /// Stops what was held before.
    Delivery& operator=(Delivery&& other) noexcept;
    /// As `Stop`.
    ~Delivery();

    /// Ends the delivery. A handler that is running is waited for; after this it is never called
    /// again, it has been destroyed, and what it refers to may go. What was queued is dropped.
    ///
    /// Called from the handler itself this returns at once, and that call is the last one. Not to
    /// be called by a thread that the handler waits for, such as one that holds a stream's lock
    /// which the handler needs; two handlers must not stop each other.
    void Stop();
    /// Waits until what was queued when this was called has been handled or dropped; where the
    /// stream has gone, until the delivery has ended.
    /// \return whether that happened in time; false at once from the handler itself
    bool Drain(std::chrono::milliseconds timeout);
    /// Has the conditions deliver what they hold back.
    /// \param now what is due by this event time; all of it unless given
    void Flush(const Poco::Timestamp& now = Poco::Timestamp::TIMEVAL_MAX);
    /// Whether no change will come any more: after `Stop`, or when the stream has gone or dropped
    /// its subscriptions and what was queued has been handled.
    bool HasEnded() const;
    DeliveryStatistics GetStatistics() const;

  private:
    friend class GroupState;

    std::shared_ptr<Channel> channel;
};

}  // namespace velmora::delivery
