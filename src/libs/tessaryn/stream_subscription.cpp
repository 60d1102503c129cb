// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_subscription.h"

#include <utility>

namespace velmora::core::tessaryn {

namespace {

using Delegate = Poco::AbstractDelegate<SubscriptionArgs>;

}  // namespace

StreamSubscription::StreamSubscription(const ISubscriptionRule& rule, const Delegate& delegate)
    : StreamSubscription(rule.Clone(), delegate) {}

StreamSubscription::StreamSubscription(ISubscriptionRule* rule, const Delegate& delegate)
    : StreamSubscription(std::unique_ptr<ISubscriptionRule>(rule), delegate) {}

StreamSubscription::StreamSubscription(std::unique_ptr<ISubscriptionRule> rule,
                                       const Delegate& delegate)
    : rule(nullptr), delegate(delegate.clone()) {
    this->rule = rule.release();
}

StreamSubscription::StreamSubscription(const StreamSubscription& other)
    : rule(nullptr), delegate(nullptr) {
    std::unique_ptr<ISubscriptionRule> clone(other.rule != nullptr ? other.rule->Clone() : nullptr);
    delegate = other.delegate != nullptr ? other.delegate->clone() : nullptr;
    rule = clone.release();
}

StreamSubscription::StreamSubscription(StreamSubscription&& other) noexcept
    : rule(std::exchange(other.rule, nullptr)), delegate(std::exchange(other.delegate, nullptr)) {}

StreamSubscription& StreamSubscription::operator=(StreamSubscription other) noexcept {
    std::swap(rule, other.rule);
    std::swap(delegate, other.delegate);
    return *this;
}

StreamSubscription::~StreamSubscription() {
    delete delegate;
    delete rule;
}

bool StreamSubscription::operator==(const StreamSubscription& other) const {
    return delegate->equals(*other.delegate);
}

void StreamSubscription::NotifyIfRuleApplies(void* sender, SubscriptionArgs& args) {
    if (rule->Applies(args)) {
        delegate->notify(sender, args);
    }
}

}  // namespace velmora::core::tessaryn
