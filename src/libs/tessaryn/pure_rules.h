// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/subscription_rule.h"

namespace velmora::core::tessaryn {

class RuleProgram;

/// Whether a rule is one of the library's own through and through, so that asking it reads a change
/// and does nothing else.
/// \param rule the rule
bool IsPure(const ISubscriptionRule& rule);

/// The plan behind a rule that is an expression, made of the library's nodes only; null of others.
/// \param rule the rule
/// \return \ownership lends: as long as the rule lives, and is not assigned to
const RuleProgram* PlanOf(const ISubscriptionRule& rule);

}  // namespace velmora::core::tessaryn
