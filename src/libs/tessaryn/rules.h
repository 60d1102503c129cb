// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/subscription_args.h"
#include "tessaryn/subscription_rule.h"

#include <memory>
#include <string>

/// Functions that make rules without leaks, even when one of them throws:
///
///     namespace rules = velmora::core::tessaryn::rules;
///     stream.Subscribe({rules::And(rules::Expression(a), rules::Expression(b)), delegate});
///
/// The functions of the same names in `subscription_rules.h` give raw pointers: there an operand
/// that was made leaks when the text of the other one is malformed.
namespace velmora::core::tessaryn::rules {

/// A rule that applies to every change.
/// \threadsafety immutable
TESSARYN_API std::unique_ptr<ISubscriptionRule> Always();
/// A rule that applies if both do; the right one is evaluated only if the left one applies.
/// \throws std::invalid_argument when one is null
/// \threadsafety immutable
TESSARYN_API std::unique_ptr<ISubscriptionRule> And(std::unique_ptr<ISubscriptionRule> left,
                                                    std::unique_ptr<ISubscriptionRule> right);
/// A rule that applies if at least one does; the right one is evaluated only if the left one does
/// not apply.
/// \throws std::invalid_argument when one is null
/// \threadsafety immutable
TESSARYN_API std::unique_ptr<ISubscriptionRule> Or(std::unique_ptr<ISubscriptionRule> left,
                                                   std::unique_ptr<ISubscriptionRule> right);
/// A rule that applies if exactly one does; both are evaluated, left first.
/// \throws std::invalid_argument when one is null
/// \threadsafety immutable
TESSARYN_API std::unique_ptr<ISubscriptionRule> Xor(std::unique_ptr<ISubscriptionRule> left,
                                                    std::unique_ptr<ISubscriptionRule> right);
/// A rule that applies if the operand does not.
/// \throws std::invalid_argument when it is null
/// \threadsafety immutable
TESSARYN_API std::unique_ptr<ISubscriptionRule> Not(std::unique_ptr<ISubscriptionRule> operand);
/// A rule that applies to changes of one type.
/// \threadsafety immutable
TESSARYN_API std::unique_ptr<ISubscriptionRule> HasStreamChangeType(StreamChangeType type);
/// A rule that applies if an expression of the rule language holds.
/// \throws Poco::SyntaxException when the text is malformed
/// \threadsafety immutable
TESSARYN_API std::unique_ptr<ISubscriptionRule> Expression(const std::string& text);

}  // namespace velmora::core::tessaryn::rules
