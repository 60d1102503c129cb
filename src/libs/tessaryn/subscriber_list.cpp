// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/subscriber_list.h"

#include "tessaryn/library_rule.h"
#include "tessaryn/rule_program.h"
#include "tessaryn/sample.h"
#include "tessaryn/sample_view.h"

#include <Poco/ScopedLock.h>

#include <optional>
#include <stdexcept>

namespace velmora::core::tessaryn {

namespace {

using Lock = Poco::ScopedLock<Poco::Mutex>;

}  // namespace

// One pass along the subscribers that calls the host, with the mutex held. Meanwhile subscribers
// keep their places, and what is removed stays alive.
class SubscriberList::Traversal {
  public:
    // `removed` outlives the lock: it gets what was removed when the outermost traversal ends, so
    // that it is destroyed after the mutex has been released.
    Traversal(SubscriberList& list, Subscriptions& removed)
        : list(list), removed(removed), count(list.subscribers.size()) {
        ++list.activeTraversals;
    }
    Traversal(const Traversal&) = delete;
    Traversal& operator=(const Traversal&) = delete;
    ~Traversal() {
        if (--list.activeTraversals == 0 && !list.removedSubscriptions.empty()) {
            removed.swap(list.removedSubscriptions);
            list.Compact();
        }
    }

    // Subscribers there were at the beginning; later ones stand behind them.
    std::size_t Count() const { return count; }

  private:
    SubscriberList& list;
    Subscriptions& removed;
    std::size_t count;
};

// One change on its way to the subscribers: the record that they share, and the copy of the sample
// that it points to.
//
// A host's code never gets hold of the stored sample, and what it changes in the copy, later
// subscribers see. Pure rules only read, and read the same from a stored `Sample` as from its copy,
// so the copy is made before the first call of a host's code. A sample of a derived class may
// override what rules read, so that one is copied at once.
class SubscriberList::Notification {
  public:
    Notification(StreamChangeType type, const Sample& stored, void* sender)
        // Only pure rules see the stored sample through the record.
        : stored(stored), args{type, const_cast<Sample*>(&stored), sender} {
        if (!IsExactSample(stored)) {
            PrepareForHost();
        }
    }

    // Asks the rule, and then calls the delegate if the rule applies. The subscriber is not used
    // once the host's code has run, which may add subscribers and so move this one.
    void Reach(const Subscriber& subscriber, void* stream) {
        StreamSubscription& subscription = *subscriber.subscription;
        if (!subscriber.isPure) {
            PrepareForHost();
            subscription.NotifyIfRuleApplies(stream, args);
        } else if (PureRuleApplies(subscriber)) {
            PrepareForHost();
            subscription.delegate->notify(stream, args);
        }
    }

  private:
    bool PureRuleApplies(const Subscriber& subscriber) {
        if (subscriber.program == nullptr) {
            return subscriber.subscription->GetRule()->Applies(args);
        }
        // One view serves all programs until the host's code runs, which may change the sample.
        if (!view) {
            if (args.sample == nullptr || !IsExactSample(*args.sample)) {
                return subscriber.program->Holds(args);
            }
            view.emplace(*args.sample);
        }
        return subscriber.program->Holds(*view, args);
    }

    void PrepareForHost() {
        if (!copy) {
            args.sample = &copy.emplace(stored);
        }
        view.reset();
    }

    const Sample& stored;
    SubscriptionArgs args;
    std::optional<SampleView> view;
    std::optional<Sample> copy;
};

void SubscriberList::Add(const StreamSubscription& subscription) {
    if (subscription.rule == nullptr || subscription.delegate == nullptr) {
        throw std::invalid_argument("A subscription without rule or delegate cannot be notified.");
    }
    Subscriptions copy;
    copy.push_back(subscription);
    const LibraryRule* const rule = AsLibraryRule(copy.front().rule);
    const bool isPure = rule != nullptr && rule->IsPure();
    const Subscriber subscriber{copy.begin(), isPure ? rule->GetProgram() : nullptr, isPure};

    const Lock lock(mutex);
    subscribers.push_back(subscriber);
    subscriptions.splice(subscriptions.end(), copy);
}

void SubscriberList::Remove(const StreamSubscription& subscription) {
    Subscriptions removed;
    const Lock lock(mutex);
    const Traversal traversal(*this, removed);
    for (std::size_t i = 0; i < traversal.Count(); ++i) {
        // The comparison may add subscribers, which moves them, and may remove this one.
        if (!subscribers[i].IsRemoved() && *subscribers[i].subscription == subscription &&
            !subscribers[i].IsRemoved()) {
            RemoveAt(i);
        }
    }
}

void SubscriberList::Clear() {
    Subscriptions removed;
    const Lock lock(mutex);
    const Traversal traversal(*this, removed);
    for (std::size_t i = 0; i < traversal.Count(); ++i) {
        if (!subscribers[i].IsRemoved()) {
            RemoveAt(i);
        }
    }
}

void SubscriberList::Notify(StreamChangeType type, const Sample& sample, void* sender,
                            void* stream) {
    Subscriptions removed;
    const Lock lock(mutex);
    if (subscriptions.empty()) {
        return;
    }
    const Traversal traversal(*this, removed);
    const unsigned long long number = ++notifications;
    // A notification inside a notification has a record and a copy of its own.
    Notification notification(type, sample, sender);
    for (std::size_t i = 0; i < traversal.Count(); ++i) {
        if (subscribers[i].lastNotification >= number) {
            notification.Reach(subscribers[i], stream);
        }
    }
}

// Allocates nothing, and takes no longer the more subscribers there are.
void SubscriberList::RemoveAt(std::size_t index) {
    Subscriber& subscriber = subscribers[index];
    subscriber.lastNotification = notifications;
    ++numRemovedSubscribers;
    removedSubscriptions.splice(removedSubscriptions.end(), subscriptions, subscriber.subscription);
}

// Moves the remaining subscribers together once half of all are removed, so that a removal moves
// one on average.
void SubscriberList::Compact() {
    if (2 * numRemovedSubscribers > subscribers.size()) {
        std::erase_if(subscribers, [](const Subscriber& each) { return each.IsRemoved(); });
        numRemovedSubscribers = 0;
    }
}

}  // namespace velmora::core::tessaryn
