// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/scoped_subscription.h"

#include "tessaryn/stream.h"

#include <utility>

namespace velmora::core::tessaryn {

ScopedSubscription::ScopedSubscription(Stream& stream, std::unique_ptr<ISubscriptionRule> rule,
                                       Function function)
    : stream(&stream) {
    const CallbackDelegate delegate(std::move(function));
    this->function = delegate.function;
    // The key is made now, so that ending the subscription needs no memory.
    key.emplace(nullptr, CallbackDelegate(this->function));
    stream.Subscribe(StreamSubscription(std::move(rule), delegate));
}

ScopedSubscription::ScopedSubscription(ScopedSubscription&& other) noexcept
    : stream(std::exchange(other.stream, nullptr)),
      function(std::move(other.function)),
      key(std::move(other.key)) {}

ScopedSubscription& ScopedSubscription::operator=(ScopedSubscription&& other) noexcept {
    ScopedSubscription taken(std::move(other));
    std::swap(stream, taken.stream);
    std::swap(function, taken.function);
    std::swap(key, taken.key);
    return *this;
}

ScopedSubscription::~ScopedSubscription() {
    Reset();
}

void ScopedSubscription::Reset() {
    if (Stream* const subscribed = std::exchange(stream, nullptr);
        subscribed != nullptr && !function.expired()) {
        subscribed->Unsubscribe(*key);
    }
    key.reset();
    function.reset();
}

}  // namespace velmora::core::tessaryn
