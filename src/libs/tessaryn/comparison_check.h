// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/base_type.h"
#include "tessaryn/private/subscription_rule_expressions.h"

#include <string>

namespace velmora::core::tessaryn {

/// Whether the literal of a comparison converts to a value type. The comparison never holds
/// otherwise.
bool ConvertsTo(const RLRelExpr& comparison, BaseType type);

/// The values that the value type of a number has, such as "Int8 holds -128 to 127"; empty for
/// other types.
std::string DescribeRange(BaseType type);

/// Why a comparison holds for no value of a number's type; empty when there is such a value.
/// \pre the literal converts to the type
std::string ExplainNeverHolds(const RLRelExpr& comparison, BaseType type);

/// Whether the literal converts to an integer type only without its fraction, as with one just
/// below the smallest value of the type.
bool ConvertsAsInteger(const RLRelExpr& comparison, BaseType type);

/// Whether a text compares with the literal.
bool HoldsForText(const RLRelExpr& comparison, const std::string& text);

/// Whether any text that is not empty compares with the literal.
/// \pre the literal converts to `String`
bool HoldsForSomeText(const RLRelExpr& comparison);

/// Whether a number of elements compares with the literal.
bool HoldsForSize(const RLRelExpr& comparison, unsigned int size);

}  // namespace velmora::core::tessaryn
