// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/subscription_args.h"
#include "tessaryn/subscription_rule.h"

#include <Poco/AbstractDelegate.h>

namespace velmora::core::tessaryn {

class RuleProgram;

/// A rule, and the delegate that is called for the changes to which the rule applies.
///
/// Owns both. A moved-from subscription is good for assignment and destruction only.
///
/// \threadsafety external
class TESSARYN_API StreamSubscription {
  public:
    /// Clones both.
    /// \param rule the filter
    /// \param delegate the target, such as a `Poco::Delegate` or `Poco::FunctionDelegate`
    StreamSubscription(const ISubscriptionRule& rule,
                       const Poco::AbstractDelegate<SubscriptionArgs>& delegate);
    /// Takes the rule and clones the delegate.
    /// \param rule \ownership takes: the filter, not null; deleted when this throws
    /// \param delegate the target
    StreamSubscription(ISubscriptionRule* rule,
                       const Poco::AbstractDelegate<SubscriptionArgs>& delegate);
    /// Clones rule and delegate.
    /// \param other the source
    StreamSubscription(const StreamSubscription& other);
    /// Takes rule and delegate over.
    /// \param other the source; good for assignment and destruction afterwards
    StreamSubscription(StreamSubscription&& other) noexcept;
    /// Takes rule and delegate of a copy.
    /// \param other the copy
    /// \return the subscription itself
    StreamSubscription& operator=(StreamSubscription other) noexcept;
    ~StreamSubscription();

    /// Whether both have the same target; the rules are not compared.
    /// \param other compared with this one
    bool operator==(const StreamSubscription& other) const;

    /// The filter.
    /// \return \ownership lends
    ISubscriptionRule* GetRule() const { return rule; }

    /// Calls the delegate if the rule applies; what the delegate returns is ignored.
    /// \param sender the notifying stream
    /// \param args the change
    /// \throws anything that the rule or the delegate throws
    void NotifyIfRuleApplies(void* sender, SubscriptionArgs& args);

  private:
    friend class Notification;

    ISubscriptionRule* rule;
    Poco::AbstractDelegate<SubscriptionArgs>* delegate;
    /// Of a rule that is an expression and no more; it lives as long as the rule.
    const RuleProgram* plan = nullptr;
    /// Whether the rule is the library's own through and through: it only reads.
    bool pureRule = false;
};

}  // namespace velmora::core::tessaryn
