// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/stream_subscription.h"
#include "tessaryn/subscription_args.h"

#include <Poco/Mutex.h>

#include <limits>
#include <vector>

namespace velmora::core::tessaryn {

class Sample;

/// The subscriptions to a stream, and the walk along them that tells of a change.
///
/// Rules and delegates may change the list that they are called from, at any depth of notifications
/// inside notifications.
///
/// Invariants:
/// 1. A notification tells those who were subscribed when it began, in order of subscribing.
/// 2. Rules and delegates live until the last notification that may still call them has ended.
///
/// \threadsafety guarded: each operation for its whole run, a notification's callbacks included
class SubscriberList {
  public:
    SubscriberList() = default;
    SubscriberList(const SubscriberList&) = delete;
    SubscriberList& operator=(const SubscriberList&) = delete;

    /// Appends a copy.
    /// \param subscription rule and delegate are cloned
    void Add(const StreamSubscription& subscription);
    /// Removes every subscription that is equal.
    /// \param subscription tells the target
    void Remove(const StreamSubscription& subscription);
    /// Removes all subscriptions.
    void Clear();

    /// Tells of a change; the caller holds the lock that guards the sample.
    /// \param type what happened
    /// \param sample the stored sample, which stays as it is
    /// \param sender the caller's value
    /// \param stream the delegates' sender
    /// \throws what a rule or a delegate throws; those behind it are not told
    void Tell(StreamChangeType type, const Sample& sample, void* sender, void* stream);

  private:
    struct Subscriber {
        static constexpr auto noLast = std::numeric_limits<unsigned long long>::max();

        StreamSubscription subscription;
        /// The number of the last notification that tells it, known once it is removed.
        unsigned long long lastNotification = noLast;

        bool IsRemoved() const { return lastNotification != noLast; }
    };
    class Walk;

    template <class Predicate>
    void RemoveIf(Predicate predicate);
    void EraseRemoved();

    Poco::Mutex mutex;
    // All guarded by the mutex.
    std::vector<Subscriber> subscribers;
    /// Notifications that have begun.
    unsigned long long notifications = 0;
    /// Notifications that have not ended.
    unsigned int openWalks = 0;
    bool someRemoved = false;
};

}  // namespace velmora::core::tessaryn
