// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_subscription.h"

#include "tessaryn/pure_rules.h"

#include <memory>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

using Delegate = Poco::AbstractDelegate<SubscriptionArgs>;

}  // namespace

StreamSubscription::StreamSubscription(const ISubscriptionRule& subscriptionRule,
                                       const Delegate& target)
    : StreamSubscription(subscriptionRule.Clone(), target) {}

StreamSubscription::StreamSubscription(ISubscriptionRule* subscriptionRule, const Delegate& target)
    : rule(nullptr), delegate(nullptr) {
    std::unique_ptr<ISubscriptionRule> owner(subscriptionRule);
    plan = PlanOf(*subscriptionRule);
    pureRule = IsPure(*subscriptionRule);
    delegate = target.clone();
    rule = owner.release();
}

StreamSubscription::StreamSubscription(const StreamSubscription& other)
    : StreamSubscription(*other.rule, *other.delegate) {}

StreamSubscription::StreamSubscription(StreamSubscription&& other) noexcept
    : rule(std::exchange(other.rule, nullptr)),
      delegate(std::exchange(other.delegate, nullptr)),
      plan(other.plan),
      pureRule(other.pureRule) {}

StreamSubscription& StreamSubscription::operator=(StreamSubscription other) noexcept {
    std::swap(rule, other.rule);
    std::swap(delegate, other.delegate);
    std::swap(plan, other.plan);
    std::swap(pureRule, other.pureRule);
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
