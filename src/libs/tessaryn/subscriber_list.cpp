// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/subscriber_list.h"

#include "tessaryn/library_rule.h"
#include "tessaryn/rule_program.h"
#include "tessaryn/sample.h"
#include "tessaryn/sample_access.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/stored_rule.h"
#include "tessaryn/stream_type.h"

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
    Notification(StreamChangeType type, const Sample& stored, void* sender,
                 const SubscriberList& list)
        // Only pure rules see the stored sample through the record.
        : stored(stored), args{type, const_cast<Sample*>(&stored), sender}, list(list) {
        if (!IsExactSample(stored)) {
            PrepareForHost();
        }
    }

    // Asks the rule, and then calls the delegate if the rule applies. The subscriber is not used
    // once the host's code has run, which may add subscribers and so move this one.
    void Reach(const Subscriber& subscriber, void* stream) {
        StreamSubscription& subscription = *subscriber.subscription;
        if (subscriber.rule == nullptr) {
            PrepareForHost();
            subscription.NotifyIfRuleApplies(stream, args);
        } else if (Holds(*subscriber.rule)) {
            PrepareForHost();
            subscription.delegate->notify(stream, args);
        }
    }

  private:
    bool Holds(const StoredRule& rule) {
        // One view serves all rules until the host's code runs, which may change the sample.
        if (!view && args.sample != nullptr && IsExactSample(*args.sample)) {
            view.emplace(*args.sample);
        }
        return view && view->CompleteLayout() != 0 && view->CompleteLayout() == list.boundLayout
                   ? rule.Holds(*view, args)
                   : rule.HoldsAnywhere(args);
    }

    void PrepareForHost() {
        if (!copy) {
            args.sample = &copy.emplace(stored);
        }
        view.reset();
    }

    const Sample& stored;
    SubscriptionArgs args;
    const SubscriberList& list;
    std::optional<SampleView> view;
    std::optional<Sample> copy;
};

SubscriberList::SubscriberList() = default;

SubscriberList::~SubscriberList() = default;

void SubscriberList::Add(const StreamSubscription& subscription, const StreamType* type) {
    if (subscription.rule == nullptr || subscription.delegate == nullptr) {
        throw std::invalid_argument("A subscription without rule or delegate cannot be notified.");
    }
    const LibraryRule* const libraryRule = AsLibraryRule(subscription.rule);
    const auto program = libraryRule != nullptr ? libraryRule->GetProgram() : nullptr;
    std::optional<StoredRule> rule;
    Subscriptions copy;
    if (program != nullptr) {
        rule.emplace(program, type);
        copy.emplace_back(std::unique_ptr<ISubscriptionRule>(), *subscription.delegate);
    } else {
        copy.push_back(subscription);
    }

    const Lock lock(mutex);
    subscribers.push_back({copy.begin(), nullptr});
    if (rule) {
        try {
            if (rules == nullptr) {
                rules = std::make_unique<StoredRules>();
            }
            BindTo(type);
            subscribers.back().rule = rules->Acquire(std::move(*rule));
        } catch (...) {
            subscribers.pop_back();
            throw;
        }
    }
    subscriptions.splice(subscriptions.end(), copy);
}

// Binds the rules to a type, or to another state of it.
void SubscriberList::BindTo(const StreamType* type) {
    const std::uint64_t layout = type == nullptr ? 0 : type->GetLayoutNumber();
    if (rules != nullptr && boundLayout != layout) {
        // Until all are bound, they are asked without.
        boundLayout = 0;
        rules->Bind(type);
        boundLayout = layout;
    }
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
    BindTo(SampleAccess::TypeOf(sample));
    Notification notification(type, sample, sender, *this);
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
        for (const Subscriber& each : subscribers) {
            if (each.IsRemoved() && each.rule != nullptr) {
                rules->Release(each.rule);
            }
        }
        std::erase_if(subscribers, [](const Subscriber& each) { return each.IsRemoved(); });
        numRemovedSubscribers = 0;
    }
}

}  // namespace velmora::core::tessaryn
