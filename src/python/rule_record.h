// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/rules.h"

#include <memory>
#include <string>

namespace velmora::python {

/// What Python holds of a rule: its text and what it means.
///
/// \threadsafety immutable
class RuleRecord {
  public:
    /// \throws RuleSyntaxException when the text is malformed
    explicit RuleRecord(const std::string& text)
        : text(text), rule(core::tessaryn::rules::Expression(text)) {}

    const std::string& GetText() const { return text; }
    const core::tessaryn::ISubscriptionRule& GetRule() const { return *rule; }

  private:
    std::string text;
    std::shared_ptr<const core::tessaryn::ISubscriptionRule> rule;
};

}  // namespace velmora::python
