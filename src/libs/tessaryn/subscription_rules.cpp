// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/subscription_rules.h"

#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/private/subscription_rule_parser.h"
#include "tessaryn/pure_rules.h"
#include "tessaryn/rule_program.h"

#include <typeinfo>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

using Owner = std::unique_ptr<ISubscriptionRule>;

// A new rule of two operands, which are deleted when there is no memory for it.
template <class Rule>
ISubscriptionRule* Combine(Owner left, Owner right) {
    auto* rule = new Rule(left.get(), right.get());
    static_cast<void>(left.release());
    static_cast<void>(right.release());
    return rule;
}

// Clones right before left; a clone that was made is deleted when the other can't be.
template <class Rule>
ISubscriptionRule* CloneOf(const ISubscriptionRule& left, const ISubscriptionRule& right) {
    Owner rightClone(right.Clone());
    Owner leftClone(left.Clone());
    return Combine<Rule>(std::move(leftClone), std::move(rightClone));
}

}  // namespace

// Compares the exact class: one that a host derives may do anything.
class PureRules {
  public:
    static bool Has(const ISubscriptionRule& rule) {
        const std::type_info& type = typeid(rule);
        if (type == typeid(AndRule)) {
            return HasOperands(static_cast<const AndRule&>(rule));
        }
        if (type == typeid(OrRule)) {
            return HasOperands(static_cast<const OrRule&>(rule));
        }
        if (type == typeid(XorRule)) {
            return HasOperands(static_cast<const XorRule&>(rule));
        }
        if (type == typeid(NotRule)) {
            return Has(*static_cast<const NotRule&>(rule).operand);
        }
        return type == typeid(AlwaysRule) || type == typeid(StreamChangeTypeRule) ||
               PlanOf(rule) != nullptr;
    }

    static const RuleProgram* PlanOf(const ISubscriptionRule& rule) {
        if (typeid(rule) != typeid(ExpressionRule)) {
            return nullptr;
        }
        const RuleProgram* const plan = static_cast<const ExpressionRule&>(rule).plan.get();
        return plan->IsPure() ? plan : nullptr;
    }

  private:
    template <class Rule>
    static bool HasOperands(const Rule& rule) {
        return Has(*rule.left) && Has(*rule.right);
    }
};

bool IsPure(const ISubscriptionRule& rule) {
    return PureRules::Has(rule);
}

const RuleProgram* PlanOf(const ISubscriptionRule& rule) {
    return PureRules::PlanOf(rule);
}

AlwaysRule::~AlwaysRule() = default;

bool AlwaysRule::Applies(SubscriptionArgs& /*args*/) const {
    return true;
}

ISubscriptionRule* AlwaysRule::Clone() const {
    return Always();
}

AndRule::AndRule(ISubscriptionRule* leftOperand, ISubscriptionRule* rightOperand)
    : left(leftOperand), right(rightOperand) {}

AndRule::~AndRule() {
    delete left;
    delete right;
}

bool AndRule::Applies(SubscriptionArgs& args) const {
    return left->Applies(args) && right->Applies(args);
}

ISubscriptionRule* AndRule::Clone() const {
    return CloneOf<AndRule>(*left, *right);
}

OrRule::OrRule(ISubscriptionRule* leftOperand, ISubscriptionRule* rightOperand)
    : left(leftOperand), right(rightOperand) {}

OrRule::~OrRule() {
    delete left;
    delete right;
}

bool OrRule::Applies(SubscriptionArgs& args) const {
    return left->Applies(args) || right->Applies(args);
}

ISubscriptionRule* OrRule::Clone() const {
    return CloneOf<OrRule>(*left, *right);
}

XorRule::XorRule(ISubscriptionRule* leftOperand, ISubscriptionRule* rightOperand)
    : left(leftOperand), right(rightOperand) {}

XorRule::~XorRule() {
    delete left;
    delete right;
}

bool XorRule::Applies(SubscriptionArgs& args) const {
    const bool leftApplies = left->Applies(args);
    const bool rightApplies = right->Applies(args);
    return leftApplies != rightApplies;
}

ISubscriptionRule* XorRule::Clone() const {
    return CloneOf<XorRule>(*left, *right);
}

NotRule::NotRule(ISubscriptionRule* ruleOperand) : operand(ruleOperand) {}

NotRule::~NotRule() {
    delete operand;
}

bool NotRule::Applies(SubscriptionArgs& args) const {
    return !operand->Applies(args);
}

ISubscriptionRule* NotRule::Clone() const {
    return Not(operand->Clone());
}

StreamChangeTypeRule::StreamChangeTypeRule(StreamChangeType type) : changeType(type) {}

StreamChangeTypeRule::~StreamChangeTypeRule() = default;

bool StreamChangeTypeRule::Applies(SubscriptionArgs& args) const {
    return args.changeType == changeType;
}

ISubscriptionRule* StreamChangeTypeRule::Clone() const {
    return HasStreamChangeType(changeType);
}

ExpressionRule::ExpressionRule(const std::string& text) : ExpressionRule(RLParser(text).parse()) {}

ExpressionRule::ExpressionRule(std::shared_ptr<RLExpr> tree)
    : expression(std::move(tree)), plan(std::make_shared<const RuleProgram>(expression)) {}

ExpressionRule::~ExpressionRule() = default;

bool ExpressionRule::Applies(SubscriptionArgs& args) const {
    return plan->Holds(args);
}

ISubscriptionRule* ExpressionRule::Clone() const {
    return new ExpressionRule(*this);
}

ISubscriptionRule* Always() {
    return new AlwaysRule;
}

ISubscriptionRule* And(ISubscriptionRule* a, ISubscriptionRule* b) {
    return Combine<AndRule>(Owner(a), Owner(b));
}

ISubscriptionRule* Or(ISubscriptionRule* a, ISubscriptionRule* b) {
    return Combine<OrRule>(Owner(a), Owner(b));
}

ISubscriptionRule* Xor(ISubscriptionRule* a, ISubscriptionRule* b) {
    return Combine<XorRule>(Owner(a), Owner(b));
}

ISubscriptionRule* Not(ISubscriptionRule* a) {
    Owner operand(a);
    auto* rule = new NotRule(operand.get());
    static_cast<void>(operand.release());
    return rule;
}

ISubscriptionRule* HasStreamChangeType(StreamChangeType type) {
    return new StreamChangeTypeRule(type);
}

ISubscriptionRule* Expression(const std::string& text) {
    return new ExpressionRule(text);
}

}  // namespace velmora::core::tessaryn
