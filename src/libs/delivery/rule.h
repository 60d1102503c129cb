// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/export.h"
#include "tessaryn/subscription_rule.h"

#include <memory>
#include <string>

namespace velmora::core::tessaryn {
class RLExpr;
class StreamType;
}  // namespace velmora::core::tessaryn

namespace velmora::delivery {

/// A rule of a subscription, made from a text or from a rule object.
///
/// \threadsafety external
class DELIVERY_API Rule {
  public:
    // Implicit, so that calls read as `Subscribe(stream, "temperature > 8.0", ...)`.
    // NOLINTBEGIN(google-explicit-constructor)
    /// \param text an expression of the rule language
    /// \throws Poco::SyntaxException when the text is malformed
    Rule(const std::string& text);
    Rule(const char* text);
    /// \param rule \ownership takes: the result of `Always()`, `And(...)` and the like
    /// \throws std::invalid_argument when it is null
    Rule(core::tessaryn::ISubscriptionRule* rule);
    Rule(std::unique_ptr<core::tessaryn::ISubscriptionRule> rule);
    // NOLINTEND(google-explicit-constructor)
    Rule(const Rule& other);
    Rule(Rule&& other) noexcept;
    Rule& operator=(Rule other) noexcept;
    ~Rule();

    /// The rule object.
    const core::tessaryn::ISubscriptionRule& Get() const { return *rule; }
    /// Whether the rule applies to a change.
    /// \throws what the rule throws
    bool Applies(core::tessaryn::SubscriptionArgs& args) const { return rule->Applies(args); }

    /// Whether the rule can apply to samples of a type. False only for texts that need an entry
    /// which the type does not have; true for all rule objects.
    /// \param type the type of the samples
    bool CanApplyTo(const core::tessaryn::StreamType& type) const;

  private:
    std::unique_ptr<core::tessaryn::ISubscriptionRule> rule;
    std::shared_ptr<core::tessaryn::RLExpr> tree;
};

}  // namespace velmora::delivery
