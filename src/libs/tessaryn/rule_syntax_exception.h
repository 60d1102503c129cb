// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/text_span.h"

#include <Poco/Exception.h>

#include <string>

namespace velmora::core::tessaryn {

/// A text is not a rule. `message()` is one of the fixed messages that docs/rule_language.md lists;
/// `what()` and `displayText()` are those of a `Poco::SyntaxException`.
///
/// \threadsafety external
class TESSARYN_API RuleSyntaxException : public Poco::SyntaxException {
  public:
    /// An error at one place of a text.
    RuleSyntaxException(const std::string& message, TextSpan span, std::string hint);
    ~RuleSyntaxException() noexcept override;
    /// Copies the error.
    RuleSyntaxException(const RuleSyntaxException&) = default;
    /// Copies the error.
    RuleSyntaxException& operator=(const RuleSyntaxException&) = default;

    /// The token at which parsing failed; of length 0 at the end of the text.
    TextSpan GetSpan() const { return span; }

    /// A suggestion, as a sentence without a full stop; may be empty. The wording may change
    /// between versions.
    const std::string& GetHint() const { return hint; }

    /// A copy of the same class. \ownership gives
    Poco::Exception* clone() const override;
    /// Throws a copy of the same class.
    void rethrow() const override;

  private:
    TextSpan span;
    std::string hint;
};

}  // namespace velmora::core::tessaryn
