// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/subscription_args.h"
#include "tessaryn/subscription_rule.h"

#include <Poco/AbstractDelegate.h>

#include <memory>

namespace velmora::core::tessaryn {

/// A rule, and the delegate that is called for the changes to which the rule applies.
///
/// Owns both. Without a rule it can only be compared: as a key for `Stream::Unsubscribe`. A
/// moved-from subscription can only be assigned to, copied and destroyed.
///
/// \threadsafety external
class TESSARYN_API StreamSubscription {
  public:
    /// Clones both.
    /// \param delegate the target, such as a `Poco::Delegate` or `Poco::FunctionDelegate`
    StreamSubscription(const ISubscriptionRule& rule,
                       const Poco::AbstractDelegate<SubscriptionArgs>& delegate);
    /// \param rule \ownership takes: null for a key; deleted when this throws
    /// \param delegate the target, which is cloned
    StreamSubscription(ISubscriptionRule* rule,
                       const Poco::AbstractDelegate<SubscriptionArgs>& delegate);
    /// \param rule null for a key
    /// \param delegate the target, which is cloned
    StreamSubscription(std::unique_ptr<ISubscriptionRule> rule,
                       const Poco::AbstractDelegate<SubscriptionArgs>& delegate);
    /// Clones rule and delegate, where the other one has them.
    StreamSubscription(const StreamSubscription& other);
    StreamSubscription(StreamSubscription&& other) noexcept;
    StreamSubscription& operator=(StreamSubscription other) noexcept;
    /// Deletes the delegate, then the rule.
    ~StreamSubscription();

    /// Whether this delegate's `equals` accepts the other's; the rules are not compared.
    bool operator==(const StreamSubscription& other) const;

    /// \return \ownership lends
    ISubscriptionRule* GetRule() const { return rule; }

    /// Calls the delegate if the rule applies; the delegate's result is ignored.
    ///
    /// For hosts that notify a subscription by themselves. A stream calls it only for rules of the
    /// host's own classes, since it evaluates those of the library before it copies the sample.
    /// \param sender passed to the delegate; a stream passes itself
    /// \throws what the rule or the delegate throws
    /// \pre the subscription has a rule
    void NotifyIfRuleApplies(void* sender, SubscriptionArgs& args);

  private:
    friend class SubscriberList;

    ISubscriptionRule* rule;
    Poco::AbstractDelegate<SubscriptionArgs>* delegate;
};

}  // namespace velmora::core::tessaryn
