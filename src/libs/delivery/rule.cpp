// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/rule.h"

#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/private/subscription_rule_parser.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/subscription_rules.h"

#include <stdexcept>
#include <utility>

namespace velmora::delivery {

using namespace core::tessaryn;

namespace {

// Whether a part of a rule can be true for a sample of the type. Returns false only if it is
// certainly false: for a comparison with a missing entry, for its existence, and for what follows
// from these.
bool CanBeTrue(const RLExpr* expression, const StreamType& type) {
    // Iterates to the left, where a chain of operands is as deep as it is long.
    for (const RLExpr* node = expression; node != nullptr;) {
        if (const auto* const conjunction = dynamic_cast<const RLAndExpr*>(node)) {
            if (!CanBeTrue(conjunction->rightOperand(), type)) {
                return false;
            }
            node = conjunction->leftOperand();
        } else if (const auto* const disjunction = dynamic_cast<const RLOrExpr*>(node)) {
            if (CanBeTrue(disjunction->rightOperand(), type)) {
                return true;
            }
            node = disjunction->leftOperand();
        } else if (const auto* const exists = dynamic_cast<const RLExistsExpr*>(node)) {
            return type.EntryExists(exists->entryName());
        } else if (const auto* const comparison = dynamic_cast<const RLRelExpr*>(node)) {
            const RLExpr* const left = comparison->leftOperand();
            const auto* const elements = dynamic_cast<const RLIndexExpr*>(left);
            return elements == nullptr || type.EntryExists(elements->entryName());
        } else {
            return true;
        }
    }
    return true;
}

}  // namespace

Rule::Rule(const std::string& text) : rule(Expression(text)), tree(RLParser(text).parse()) {}

Rule::Rule(const char* text) : Rule(std::string(text)) {}

Rule::Rule(ISubscriptionRule* rule) : Rule(std::unique_ptr<ISubscriptionRule>(rule)) {}

Rule::Rule(std::unique_ptr<ISubscriptionRule> rule) : rule(std::move(rule)) {
    if (!this->rule) {
        throw std::invalid_argument("A delivery needs a rule.");
    }
}

Rule::Rule(const Rule& other) : rule(other.rule->Clone()), tree(other.tree) {}
Rule::Rule(Rule&& other) noexcept = default;

Rule& Rule::operator=(Rule other) noexcept {
    rule.swap(other.rule);
    tree.swap(other.tree);
    return *this;
}

Rule::~Rule() = default;

bool Rule::CanApplyTo(const StreamType& type) const {
    return !tree || CanBeTrue(tree.get(), type);
}

}  // namespace velmora::delivery
