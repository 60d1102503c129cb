// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_syntax_exception.h"

#include <utility>

namespace velmora::core::tessaryn {

RuleSyntaxException::RuleSyntaxException(const std::string& message, TextSpan span,
                                         std::string hint)
    : Poco::SyntaxException(message), span(span), hint(std::move(hint)) {}

RuleSyntaxException::~RuleSyntaxException() noexcept = default;

Poco::Exception* RuleSyntaxException::clone() const {
    return new RuleSyntaxException(*this);
}

void RuleSyntaxException::rethrow() const {
    throw *this;
}

}  // namespace velmora::core::tessaryn
