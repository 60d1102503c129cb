// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/stream_subscription.h"
#include "tessaryn/subscription_args.h"

#include <Poco/Mutex.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <list>
#include <memory>
#include <vector>

namespace velmora::core::tessaryn {

class RuleIndex;
class RuleSelection;
class Sample;
class StoredRule;
class StoredRules;
class StreamType;

/// The subscriptions to a stream, and the dispatch of changes to their delegates: internal.
///
/// Rules, delegates, their comparisons, copies and destructors may call the list again, at any
/// depth of notifications inside notifications.
///
/// Invariants:
/// 1. A notification reaches the subscribers that existed when it began, in order of subscribing.
///    One that is removed meanwhile is still reached by it, but by no later one.
/// 2. Rules and delegates live until all running calls of them have returned.
/// 3. Subscriptions are copied before the mutex is taken and destroyed after it has been released.
///    Those removed during a notification or a comparison are destroyed when the outermost one has
///    ended.
///
/// \threadsafety guarded: each operation for its whole run, callbacks included
class SubscriberList {
  public:
    SubscriberList();
    SubscriberList(const SubscriberList&) = delete;
    SubscriberList& operator=(const SubscriberList&) = delete;
    ~SubscriberList();

    /// Appends a copy.
    /// \param type of the stream's samples; null when it is not known yet
    /// \throws std::invalid_argument when the subscription has no rule or no delegate
    /// \throws what cloning throws; the list is then as it was
    void Add(const StreamSubscription& subscription, const StreamType* type);
    /// Removes every stored subscription that is equal to the given one.
    /// \throws what a comparison throws; those found equal before are removed
    void Remove(const StreamSubscription& subscription);
    /// Removes all subscriptions.
    void Clear();
    std::size_t GetSize() const;
    /// Takes no lock, and so does not wait for a notification under way.
    bool IsEmpty() const { return isEmpty.load(std::memory_order_acquire); }

    /// Notifies the subscribers of a change; the caller holds the lock that guards the sample.
    /// \param sample the stored sample, which stays as it is
    /// \param sender the value for `SubscriptionArgs::sender`
    /// \param stream passed to the delegates as their sender
    /// \throws what a rule or a delegate throws; later subscribers are not notified
    void Notify(StreamChangeType type, const Sample& sample, void* sender, void* stream);

  private:
    using Subscriptions = std::list<StreamSubscription>;

    /// A place in the order of subscribing. It outlives its subscription until the next compaction.
    struct Subscriber {
        static constexpr auto stillSubscribed = std::numeric_limits<unsigned long long>::max();

        /// Without its rule where that is stored.
        Subscriptions::iterator subscription;
        /// Of a rule that only reads the change; null for a host's own.
        const StoredRule* rule;
        /// The number of the last notification that reaches it, known once it is removed.
        unsigned long long lastNotification = stillSubscribed;

        bool IsRemoved() const { return lastNotification != stillSubscribed; }
    };
    class Traversal;
    class Notification;
    class IndexedNotification;

    void NotifyEach(Notification& notification, std::size_t begin, std::size_t end);
    bool IsIndexed(Notification& notification);
    void BindTo(const StreamType* type);
    void RemoveAt(std::size_t position);
    void NoteSize() { isEmpty.store(subscriptions.empty(), std::memory_order_release); }
    void Compact();

    mutable Poco::Mutex mutex;
    // Changed under the mutex, so that a push to nobody needn't take it.
    std::atomic<bool> isEmpty = true;

    // Guarded by the mutex.
    // In order of subscribing, those of removed subscriptions among them: at most half of all when
    // no traversal is active.
    std::vector<Subscriber> subscribers;
    std::size_t numRemovedSubscribers = 0;
    // The rules that subscribers have. Null until the first one comes.
    std::unique_ptr<StoredRules> rules;
    // The number of the type's state that the rules are bound to; 0 before they are.
    std::uint64_t boundLayout = 0;
    // The index of most subscribers' rules, once there are many; else null.
    std::unique_ptr<RuleIndex> index;
    std::unique_ptr<RuleSelection> spareSelection;
    // The memory of a copy, for the next notification that is not inside another.
    std::unique_ptr<Sample> spareCopy;
    // The subscriptions of the subscribers that are not removed, in order of subscribing.
    Subscriptions subscriptions;
    // Subscriptions that were removed since the outermost traversal began; else empty.
    Subscriptions removedSubscriptions;
    // Traversals that have not ended, and notifications that have begun.
    unsigned int activeTraversals = 0;
    unsigned long long notifications = 0;
};

}  // namespace velmora::core::tessaryn
