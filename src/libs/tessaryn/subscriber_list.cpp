// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/subscriber_list.h"

#include "tessaryn/checked.h"
#include "tessaryn/library_rule.h"
#include "tessaryn/lock_order.h"
#include "tessaryn/rule_index.h"
#include "tessaryn/rule_program.h"
#include "tessaryn/sample.h"
#include "tessaryn/sample_access.h"
#include "tessaryn/sample_view.h"
#include "tessaryn/stored_rule.h"
#include "tessaryn/stream_type.h"

#include <new>
#include <optional>
#include <stdexcept>

namespace velmora::core::tessaryn {

namespace {

using Lock = OrderedLock<LockRank::subscriptions>;

// Fewer subscribers are evaluated one by one, which takes no longer than selecting some of them.
constexpr std::size_t minIndexed = 24;
// Fewer read entries themselves as fast as through keys.
constexpr std::size_t minKeyed = 3;
// Up to this number of new subscribers are evaluated one by one before they are indexed.
constexpr std::size_t maxNotIndexed = 16;
// A larger copy is not kept for the next notification.
constexpr std::size_t maxSpareSize = 1024;

}  // namespace

// A traversal of the subscribers that calls the host, with the mutex held. Meanwhile subscribers
// keep their places, and removed ones stay alive.
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

// One notification: the record that the subscribers share, and the copy of the sample that it
// points to.
//
// A host's code never gets the stored sample; later subscribers see its changes to the copy. Pure
// rules only read, and read the same from a stored `Sample` as from its copy, so the copy is made
// before the first call of a host's code. A sample of a derived class may override what rules read,
// so that one is copied at once.
class SubscriberList::Notification {
  public:
    Notification(StreamChangeType type, const Sample& stored, void* sender, void* stream,
                 SubscriberList& list)
        // Only pure rules see the stored sample through the record.
        : stored(stored),
          args{type, const_cast<Sample*>(&stored), sender},
          list(list),
          stream(stream),
          number(list.notifications) {
        if (!IsExactSample(stored)) {
            PrepareForHost();
        }
    }
    Notification(const Notification&) = delete;
    Notification& operator=(const Notification&) = delete;
    ~Notification() {
        if (copy && SampleAccess::TotalSize(*copy) <= maxSpareSize) {
            list.spareCopy = std::move(copy);
        }
    }

    // Evaluates the rule, and calls the delegate if the rule applies. The subscriber is not used
    // once the host's code has run, which may add subscribers and so move this one. Returns whether
    // the host's code has run.
    bool Reach(const Subscriber& subscriber) {
        if (subscriber.lastNotification < number ||
            (subscriber.rule != nullptr && !Holds(*subscriber.rule))) [[likely]] {
            return false;
        }
        Call(subscriber);
        return true;
    }

    // Calls the delegate of the first subscriber in a range whose rule applies. Returns the place
    // behind it.
    std::size_t ReachNext(std::size_t begin, std::size_t end) {
        std::size_t i = begin;
        const SampleView* const bound = BoundView();
        if (bound != nullptr && end - begin >= minKeyed) {
            i = SkipByKeys(*bound, begin, end);
            if (i < end) {
                Call(list.subscribers[i]);
            }
        } else {
            Reach(list.subscribers[i]);
        }
        return i + 1;
    }

    // The view of the sample, if the rules are bound to its type; else null.
    const SampleView* BoundView() {
        if (!isViewed) {
            isViewed = true;
            view.reset();
            if (args.sample != nullptr && IsExactSample(*args.sample)) {
                view.emplace(*args.sample);
            }
            const bool isBound =
                view && view->CompleteLayout() != 0 && view->CompleteLayout() == list.boundLayout;
            boundView = isBound ? &*view : nullptr;
        }
        return boundView;
    }

    bool IsFor(const Subscriber& subscriber) const { return subscriber.lastNotification >= number; }
    const SubscriptionArgs& Args() const { return args; }

  private:
    // Finds the first subscriber to be called. These rules only read. As a separate function, the
    // loop has enough registers.
    [[gnu::noinline]] std::size_t SkipByKeys(const SampleView& bound, std::size_t begin,
                                             std::size_t end) {
        const Subscriber* const first = list.subscribers.data();
        const Subscriber* const last = first + end;
        const auto present = number;
        for (const Subscriber* each = first + begin; each != last; ++each) {
            if (each->lastNotification >= present &&
                (each->rule == nullptr || each->rule->Holds(keys, bound, args))) {
                return static_cast<std::size_t>(each - first);
            }
        }
        return end;
    }

    bool Holds(const StoredRule& rule) {
        // One view serves all rules until the host's code runs, which may change the sample.
        if (boundView != nullptr || BoundView() != nullptr) [[likely]] {
            return rule.Holds(*boundView, args);
        }
        return rule.HoldsAnywhere(args);
    }

    void Call(const Subscriber& subscriber) {
        StreamSubscription& subscription = *subscriber.subscription;
        const bool isAsked = subscriber.rule == nullptr;
        PrepareForHost();
        if (isAsked) {
            subscription.NotifyIfRuleApplies(stream, args);
        } else {
            subscription.delegate->notify(stream, args);
        }
    }

    void PrepareForHost() {
        if (!copy) {
            copy = std::move(list.spareCopy);
            if (!copy) {
                copy = std::make_unique<Sample>(stored);
            } else if (!SampleAccess::Overwrite(*copy, stored)) {
                *copy = stored;
            }
            args.sample = copy.get();
        }
        isViewed = false;
        boundView = nullptr;
        keys.Forget();
    }

    const Sample& stored;
    SubscriptionArgs args;
    SubscriberList& list;
    void* stream;
    unsigned long long number;
    // Computed since the host's code has run last.
    bool isViewed = false;
    const SampleView* boundView = nullptr;
    std::optional<SampleView> view;
    // Uses the memory of the previous notification's copy.
    std::unique_ptr<Sample> copy;
    // The keys of the viewed sample.
    EntryKeys keys;
};

// Notifies only the subscribers whose rules may hold.
//
// Each rule is evaluated right before its delegate is called. If the host's code has changed an
// attribute of the copy, the remaining rules are selected again.
class SubscriberList::IndexedNotification {
  public:
    IndexedNotification(SubscriberList& list, Notification& notification)
        : list(list), notification(notification), selection(std::move(list.spareSelection)) {}
    IndexedNotification(const IndexedNotification&) = delete;
    IndexedNotification& operator=(const IndexedNotification&) = delete;
    ~IndexedNotification() { list.spareSelection = std::move(selection); }

    void Run(std::size_t count) {
        std::uint32_t position = 0;
        bool isSelected = Select(position);
        while (true) {
            position = isSelected ? selection->Next(position) : position;
            if (position >= count) {
                return;
            }
            const bool isCalled = notification.Reach(list.subscribers[position]);
            ++position;
            if (isCalled) {
                isSelected = Select(position);
            }
        }
    }

  private:
    // Returns false if all rules have to be evaluated.
    bool Select(std::uint32_t from) {
        const SampleView* const view = notification.BoundView();
        if (view == nullptr) {
            return false;
        }
        try {
            if (selection == nullptr) {
                selection = std::make_unique<RuleSelection>();
            }
            if (from == 0) {
                list.index->Select(*selection, from, *view, notification.Args());
            } else {
                list.index->Update(*selection, from, *view, notification.Args());
            }
        } catch (const std::bad_alloc&) {
            return false;
        }
        return true;
    }

    SubscriberList& list;
    Notification& notification;
    // Reused by the next notification that is not inside this one.
    std::unique_ptr<RuleSelection> selection;
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
    if (subscribers.size() == subscribers.capacity()) {
        // Leaves less memory unused than the vector would.
        subscribers.reserve(subscribers.size() + subscribers.size() / 2 + 1);
    }
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
    NoteSize();
}

// Binds the rules to a type, or to another state of it.
void SubscriberList::BindTo(const StreamType* type) {
    const std::uint64_t layout = type == nullptr ? 0 : type->GetLayoutNumber();
    if (rules != nullptr && boundLayout != layout) {
        // Until all are bound, they are evaluated unbound.
        boundLayout = 0;
        if (index != nullptr) {
            index->Clear();
        }
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

std::size_t SubscriberList::GetSize() const {
    const Lock lock(mutex);
    return subscriptions.size();
}

void SubscriberList::Notify(StreamChangeType type, const Sample& sample, void* sender,
                            void* stream) {
    // Where contracts are checked, the order of the locks is, too.
    if (!isChecked && IsEmpty()) {
        return;
    }
    Subscriptions removed;
    const Lock lock(mutex);
    if (subscriptions.empty()) {
        return;
    }
    const Traversal traversal(*this, removed);
    ++notifications;
    BindTo(SampleAccess::TypeOf(sample));
    // A notification inside a notification has a record and a copy of its own.
    Notification notification(type, sample, sender, stream, *this);
    if (traversal.Count() < minIndexed || !IsIndexed(notification)) {
        NotifyEach(notification, 0, traversal.Count());
    } else {
        IndexedNotification(*this, notification).Run(traversal.Count());
    }
}

void SubscriberList::NotifyEach(Notification& notification, std::size_t begin, std::size_t end) {
    for (std::size_t i = begin; i < end;) {
        i = notification.ReachNext(i, end);
    }
}

// Indexes the rules of new subscribers, unless they are few. Returns whether the index can be used.
bool SubscriberList::IsIndexed(Notification& notification) {
    const SampleView* const view = notification.BoundView();
    if (view == nullptr) {
        return false;
    }
    try {
        if (index == nullptr) {
            index = std::make_unique<RuleIndex>();
        }
        const auto end = static_cast<std::uint32_t>(subscribers.size());
        if (end - index->End() > maxNotIndexed) {
            const auto ruleAt = [this](std::uint32_t position) {
                const Subscriber& subscriber = subscribers[position];
                return subscriber.rule == nullptr ? nullptr : &subscriber.rule->GetBound();
            };
            index->Extend(end, ruleAt, *view, notification.Args());
        }
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

// Allocates nothing, and takes no longer the more subscribers there are.
void SubscriberList::RemoveAt(std::size_t position) {
    Subscriber& subscriber = subscribers[position];
    subscriber.lastNotification = notifications;
    ++numRemovedSubscribers;
    removedSubscriptions.splice(removedSubscriptions.end(), subscriptions, subscriber.subscription);
    NoteSize();
}

// Moves the remaining subscribers together once half of all are removed, so that a removal moves
// one on average.
void SubscriberList::Compact() {
    if (2 * numRemovedSubscribers > subscribers.size()) {
        if (index != nullptr) {
            index->Clear();
        }
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
