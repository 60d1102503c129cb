// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/rules.h"
#include "tessaryn/text_span.h"

#include <memory>
#include <string>
#include <string_view>

namespace velmora::python {

/// Converts a span of a text from bytes to characters, which Python counts. Needs the GIL.
core::tessaryn::TextSpan InCharacters(std::string_view text, core::tessaryn::TextSpan bytes);

/// Python's representation of a rule: its text and its compiled form.
///
/// \threadsafety immutable
class RuleRecord {
  public:
    /// \throws RuleSyntaxException when the text is malformed, and when an operator or the rule
    /// lacks an operand, so that evaluation would throw. Its span is in characters.
    explicit RuleRecord(const std::string& text);

    const std::string& GetText() const { return text; }
    const core::tessaryn::ISubscriptionRule& GetRule() const { return *rule; }

  private:
    std::string text;
    std::shared_ptr<const core::tessaryn::ISubscriptionRule> rule;
};

}  // namespace velmora::python
