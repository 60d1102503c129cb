// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/subscription_rule.h"

namespace velmora::core::tessaryn {

ISubscriptionRule::~ISubscriptionRule() = default;

}  // namespace velmora::core::tessaryn
