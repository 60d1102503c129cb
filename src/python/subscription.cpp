// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "subscription.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace velmora::python {

using delivery::Delivery;
using delivery::DeliveryOptions;
using delivery::Dispatcher;
using delivery::Overflow;

namespace {

// The capacity of an inbox whose worker waits for room: the caller has given that of the queue
// before it.
constexpr std::size_t waitingInbox = 16;

std::size_t InboxCapacity(const DeliveryOptions& options) {
    return options.overflow == Overflow::wait ? std::min(options.capacity, waitingInbox)
                                              : options.capacity;
}

}  // namespace

// Members are destroyed from last to first, so that no queued sample outlives its type.
struct Subscription::Parts {
    std::shared_ptr<StreamStore> store;
    std::optional<TypePin> pin;
    std::shared_ptr<ChangeInbox> inbox;
    std::shared_ptr<Dispatcher> dispatcher;
    Delivery delivery;
};

Subscription::Subscription(const StreamHandle& stream, std::shared_ptr<Dispatcher> dispatcher,
                           Request request)
    : link(stream.GetLink()), parts(std::make_unique<Parts>()) {
    DeliveryOptions& options = request.options;
    parts->store = stream.GetStore();
    parts->inbox = std::make_shared<ChangeInbox>(InboxCapacity(options), options.overflow);
    parts->dispatcher = options.overflow == Overflow::wait
                            ? std::make_shared<Dispatcher>(1, "python-waiting")
                            : std::move(dispatcher);
    options.onEnd = [inbox = parts->inbox] { inbox->End(); };
    auto handler = [inbox = parts->inbox](Change& change) { inbox->Put(change); };
    stream.UseUnlocked([&](core::tessaryn::Stream& used) {
        parts->pin.emplace(parts->store->GetTypes(), *used.GetStreamType());
        parts->delivery =
            request.withHistory
                ? parts->dispatcher->SubscribeWithHistory(used, request.rule, handler, options)
                : parts->dispatcher->Subscribe(used, request.rule, handler, options);
    });
}

Subscription::~Subscription() {
    if (parts != nullptr) {
        Close();
    }
}

void Subscription::Close() {
    // The inbox first: a worker may be waiting for room in it.
    const Parts& used = Use();
    used.inbox->Close();
    parts->delivery.Stop();
}

std::optional<Subscription::Change> Subscription::Take(std::chrono::microseconds timeout) {
    return Use().inbox->Take(timeout);
}

bool Subscription::HasEnded() const {
    return isAbandoned || Use().inbox->HasEnded();
}

bool Subscription::Drain(std::chrono::microseconds timeout) {
    const auto until = std::chrono::steady_clock::now() + timeout;
    if (!Use().delivery.Drain(std::chrono::ceil<std::chrono::milliseconds>(timeout))) {
        return false;
    }
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
        until - std::chrono::steady_clock::now());
    return Use().inbox->Drain(std::max(left, std::chrono::microseconds(0)));
}

void Subscription::Flush() {
    Use().delivery.Flush();
}

delivery::DeliveryStatistics Subscription::GetStatistics() const {
    // The inbox first, so that its changes are included in the accepted ones.
    const ChangeInbox::Counts counts = Use().inbox->GetCounts();
    delivery::DeliveryStatistics statistics = Use().delivery.GetStatistics();
    statistics.delivered = counts.taken;
    statistics.dropped += counts.dropped;
    statistics.waiting = statistics.accepted - statistics.delivered - statistics.dropped;
    return statistics;
}

int Subscription::GetDescriptor() {
    return Use().inbox->GetDescriptor();
}

void Subscription::Abandon() {
    isAbandoned = true;
    link->Abandon();
    static_cast<void>(parts.release());
}

Subscription::Parts& Subscription::Use() const {
    if (isAbandoned) {
        throw std::runtime_error(
            "The subscription did not follow into this process, which was forked. Subscribe in the "
            "process that uses it.");
    }
    return *parts;
}

}  // namespace velmora::python
