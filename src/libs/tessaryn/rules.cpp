// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rules.h"

#include "tessaryn/subscription_rules.h"

#include <stdexcept>

namespace velmora::core::tessaryn::rules {

namespace {

using Rule = std::unique_ptr<ISubscriptionRule>;

void CheckOperand(const Rule& operand, const char* name) {
    if (operand == nullptr) {
        throw std::invalid_argument(std::string("The ") + name + " is null.");
    }
}

}  // namespace

Rule Always() {
    return std::make_unique<AlwaysRule>();
}

Rule And(Rule left, Rule right) {
    CheckOperand(left, "left operand of And");
    CheckOperand(right, "right operand of And");
    return Rule(tessaryn::And(left.release(), right.release()));
}

Rule Or(Rule left, Rule right) {
    CheckOperand(left, "left operand of Or");
    CheckOperand(right, "right operand of Or");
    return Rule(tessaryn::Or(left.release(), right.release()));
}

Rule Xor(Rule left, Rule right) {
    CheckOperand(left, "left operand of Xor");
    CheckOperand(right, "right operand of Xor");
    return Rule(tessaryn::Xor(left.release(), right.release()));
}

Rule Not(Rule operand) {
    CheckOperand(operand, "operand of Not");
    return Rule(tessaryn::Not(operand.release()));
}

Rule HasStreamChangeType(StreamChangeType type) {
    return std::make_unique<StreamChangeTypeRule>(type);
}

Rule Expression(const std::string& text) {
    return std::make_unique<ExpressionRule>(text);
}

}  // namespace velmora::core::tessaryn::rules
