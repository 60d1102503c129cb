// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/private/subscription_rule_expressions.h"

#include <typeinfo>

namespace velmora::core::tessaryn {

template <class Node, class... Others, class Visitor>
decltype(auto) VisitExpressionAs(const RLExpr& expression, Visitor& visitor) {
    if (typeid(expression) == typeid(Node)) {
        return visitor(static_cast<const Node&>(expression));
    }
    if constexpr (sizeof...(Others) > 0) {
        return VisitExpressionAs<Others...>(expression, visitor);
    } else {
        return visitor(expression);
    }
}

/// Calls a function object with a node as the library's class that it is an instance of, and as
/// `const RLExpr&` when it is none: an instance of a class that a host derives from one of the
/// library's may evaluate to something else. Overloads for `RLBinaryExpr` and `RLRelExpr` take all
/// operators and all comparisons of the library.
/// \return the function object's result, whose type must be the same for every class
template <class Visitor>
decltype(auto) VisitExpression(const RLExpr& expression, Visitor&& visitor) {
    return VisitExpressionAs<RLAndExpr, RLOrExpr, RLXorExpr, RLNotExpr, RLEqExpr, RLNeExpr,
                             RLLtExpr, RLLeExpr, RLGtExpr, RLGeExpr, RLIndexExpr, RLPropExpr,
                             RLFuncExpr, RLExistsExpr>(expression, visitor);
}

}  // namespace velmora::core::tessaryn
