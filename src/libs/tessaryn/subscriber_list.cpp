// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/subscriber_list.h"

#include "tessaryn/notification.h"

#include <Poco/ScopedLock.h>

#include <algorithm>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

using Lock = Poco::ScopedLock<Poco::Mutex>;

}  // namespace

// One notification under way. What is removed meanwhile goes when the outermost one ends.
class SubscriberList::Walk {
  public:
    explicit Walk(SubscriberList& walked)
        : list(walked), number(++walked.notifications), count(walked.subscribers.size()) {
        ++list.openWalks;
    }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;
    ~Walk() {
        if (--list.openWalks == 0) {
            list.EraseRemoved();
        }
    }

    // Subscribers there were at the beginning; later ones stand behind them.
    std::size_t Count() const { return count; }

    // The subscription at an index, as long as nothing is added; null where it was removed before
    // the beginning.
    StreamSubscription* At(std::size_t index) const {
        Subscriber& subscriber = list.subscribers[index];
        return subscriber.lastNotification >= number ? &subscriber.subscription : nullptr;
    }

  private:
    SubscriberList& list;
    unsigned long long number;
    std::size_t count;
};

void SubscriberList::Add(const StreamSubscription& subscription) {
    const Lock lock(mutex);
    // Cloning calls the host, which may subscribe: the list is changed only afterwards.
    StreamSubscription copy(subscription);
    subscribers.push_back({std::move(copy)});
}

void SubscriberList::Remove(const StreamSubscription& subscription) {
    RemoveIf([&](const StreamSubscription& stored) { return stored == subscription; });
}

void SubscriberList::Clear() {
    RemoveIf([](const StreamSubscription& /*stored*/) { return true; });
}

template <class Predicate>
void SubscriberList::RemoveIf(Predicate predicate) {
    const Lock lock(mutex);
    // By index, since comparing delegates calls the host, which may subscribe.
    // NOLINTNEXTLINE(modernize-loop-convert)
    for (std::size_t i = 0; i < subscribers.size(); ++i) {
        if (subscribers[i].IsRemoved() || !predicate(subscribers[i].subscription)) {
            continue;
        }
        subscribers[i].lastNotification = notifications;
        someRemoved = true;
    }
    if (openWalks == 0) {
        EraseRemoved();
    }
}

// Nobody walks. Their destructors may call the host, so they go one by one from a whole list.
void SubscriberList::EraseRemoved() {
    if (!someRemoved) {
        return;
    }
    someRemoved = false;
    // By swapping, which allocates nothing: a notification that ends must not throw.
    auto kept = subscribers.begin();
    for (auto next = kept; next != subscribers.end(); ++next) {
        if (!next->IsRemoved()) {
            std::iter_swap(kept++, next);
        }
    }
    while (!subscribers.empty() && subscribers.back().IsRemoved()) {
        const Subscriber removed = std::move(subscribers.back());
        subscribers.pop_back();
    }
}

void SubscriberList::Tell(StreamChangeType type, const Sample& sample, void* sender, void* stream) {
    const Lock lock(mutex);
    if (subscribers.empty()) {
        return;
    }
    const Walk walk(*this);
    // One for each notification: a notification inside a notification has a copy of its own.
    Notification notification(type, sample, sender);
    for (std::size_t i = 0; i < walk.Count(); ++i) {
        if (StreamSubscription* const subscription = walk.At(i)) {
            notification.Tell(*subscription, stream);
        }
    }
}

}  // namespace velmora::core::tessaryn
