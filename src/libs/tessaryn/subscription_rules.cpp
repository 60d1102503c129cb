// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/subscription_rules.h"

#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/private/subscription_rule_parser.h"
#include "tessaryn/rule_program.h"

#include <stdexcept>
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

// Checks an operand before it is evaluated or cloned; constructors accept null.
const ISubscriptionRule& Checked(const ISubscriptionRule* operand, const char* name) {
    if (operand == nullptr) {
        throw std::invalid_argument(std::string("The ") + name + " is null.");
    }
    return *operand;
}

// Clones right before left; a clone that was made is deleted when the other can't be.
template <class Rule>
ISubscriptionRule* CloneOf(const ISubscriptionRule& left, const ISubscriptionRule& right) {
    Owner rightClone(right.Clone());
    Owner leftClone(left.Clone());
    return Combine<Rule>(std::move(leftClone), std::move(rightClone));
}

// Whether the rule is not of a class that a host derives from the library's.
template <class Rule>
bool IsExactly(const Rule& rule) {
    return typeid(rule) == typeid(Rule);
}

using OptionalExpression = std::optional<std::shared_ptr<RLExpr>>;

// None for null and for a host's rule.
OptionalExpression ExpressionOf(const ISubscriptionRule* rule) {
    const LibraryRule* const libraryRule = AsLibraryRule(rule);
    return libraryRule != nullptr ? libraryRule->GetExpression() : std::nullopt;
}

template <class Node>
OptionalExpression Join(const ISubscriptionRule* left, const ISubscriptionRule* right) {
    const OptionalExpression leftExpression = ExpressionOf(left);
    const OptionalExpression rightExpression = ExpressionOf(right);
    if (!leftExpression || !rightExpression) {
        return std::nullopt;
    }
    return std::make_shared<Node>(*leftExpression, *rightExpression);
}

bool IsPureOperand(const ISubscriptionRule* operand) {
    const LibraryRule* const rule = AsLibraryRule(operand);
    return rule != nullptr && rule->IsPure();
}

}  // namespace

std::shared_ptr<const RuleProgram> LibraryRule::GetProgram() const {
    const OptionalExpression expression = GetExpression();
    return expression ? std::make_shared<const RuleProgram>(*expression) : nullptr;
}

AlwaysRule::~AlwaysRule() = default;

bool AlwaysRule::Applies(SubscriptionArgs& /*args*/) const {
    return true;
}

ISubscriptionRule* AlwaysRule::Clone() const {
    return Always();
}

bool AlwaysRule::IsPure() const {
    return IsExactly(*this);
}

std::optional<std::shared_ptr<RLExpr>> AlwaysRule::GetExpression() const {
    return IsPure() ? OptionalExpression(std::make_shared<RLFuncExpr>("true")) : std::nullopt;
}

AndRule::AndRule(ISubscriptionRule* left, ISubscriptionRule* right) : left(left), right(right) {}

AndRule::~AndRule() {
    delete left;
    delete right;
}

bool AndRule::Applies(SubscriptionArgs& args) const {
    return Checked(left, "left operand of AndRule").Applies(args) &&
           Checked(right, "right operand of AndRule").Applies(args);
}

ISubscriptionRule* AndRule::Clone() const {
    return CloneOf<AndRule>(Checked(left, "left operand of AndRule"),
                            Checked(right, "right operand of AndRule"));
}

bool AndRule::IsPure() const {
    return IsExactly(*this) && IsPureOperand(left) && IsPureOperand(right);
}

std::optional<std::shared_ptr<RLExpr>> AndRule::GetExpression() const {
    return IsPure() ? Join<RLAndExpr>(left, right) : std::nullopt;
}

OrRule::OrRule(ISubscriptionRule* left, ISubscriptionRule* right) : left(left), right(right) {}

OrRule::~OrRule() {
    delete left;
    delete right;
}

bool OrRule::Applies(SubscriptionArgs& args) const {
    return Checked(left, "left operand of OrRule").Applies(args) ||
           Checked(right, "right operand of OrRule").Applies(args);
}

ISubscriptionRule* OrRule::Clone() const {
    return CloneOf<OrRule>(Checked(left, "left operand of OrRule"),
                           Checked(right, "right operand of OrRule"));
}

bool OrRule::IsPure() const {
    return IsExactly(*this) && IsPureOperand(left) && IsPureOperand(right);
}

std::optional<std::shared_ptr<RLExpr>> OrRule::GetExpression() const {
    return IsPure() ? Join<RLOrExpr>(left, right) : std::nullopt;
}

XorRule::XorRule(ISubscriptionRule* left, ISubscriptionRule* right) : left(left), right(right) {}

XorRule::~XorRule() {
    delete left;
    delete right;
}

bool XorRule::Applies(SubscriptionArgs& args) const {
    const bool leftApplies = Checked(left, "left operand of XorRule").Applies(args);
    const bool rightApplies = Checked(right, "right operand of XorRule").Applies(args);
    return leftApplies != rightApplies;
}

ISubscriptionRule* XorRule::Clone() const {
    return CloneOf<XorRule>(Checked(left, "left operand of XorRule"),
                            Checked(right, "right operand of XorRule"));
}

bool XorRule::IsPure() const {
    return IsExactly(*this) && IsPureOperand(left) && IsPureOperand(right);
}

std::optional<std::shared_ptr<RLExpr>> XorRule::GetExpression() const {
    const OptionalExpression expression = IsPure() ? Join<RLXorExpr>(left, right) : std::nullopt;
    // The expression evaluates its right operand first, which is visible if one throws.
    return expression && !CompileRule(expression->get()).mayThrow ? expression : std::nullopt;
}

NotRule::NotRule(ISubscriptionRule* operand) : operand(operand) {}

NotRule::~NotRule() {
    delete operand;
}

bool NotRule::Applies(SubscriptionArgs& args) const {
    return !Checked(operand, "operand of NotRule").Applies(args);
}

ISubscriptionRule* NotRule::Clone() const {
    return Not(Checked(operand, "operand of NotRule").Clone());
}

bool NotRule::IsPure() const {
    return IsExactly(*this) && IsPureOperand(operand);
}

std::optional<std::shared_ptr<RLExpr>> NotRule::GetExpression() const {
    const OptionalExpression expression = IsPure() ? ExpressionOf(operand) : std::nullopt;
    return expression ? OptionalExpression(std::make_shared<RLNotExpr>(*expression)) : std::nullopt;
}

StreamChangeTypeRule::StreamChangeTypeRule(StreamChangeType changeType) : changeType(changeType) {}

StreamChangeTypeRule::~StreamChangeTypeRule() = default;

bool StreamChangeTypeRule::Applies(SubscriptionArgs& args) const {
    return args.changeType == changeType;
}

ISubscriptionRule* StreamChangeTypeRule::Clone() const {
    return HasStreamChangeType(changeType);
}

bool StreamChangeTypeRule::IsPure() const {
    return IsExactly(*this);
}

std::optional<std::shared_ptr<RLExpr>> StreamChangeTypeRule::GetExpression() const {
    const std::pair<StreamChangeType, const char*> functions[] = {
        {pushed, "pushed"}, {popped, "popped"}, {changed, "changed"}};
    for (const auto& [type, function] : functions) {
        if (type == changeType && IsPure()) {
            return std::make_shared<RLFuncExpr>(function);
        }
    }
    return std::nullopt;
}

ExpressionRule::ExpressionRule(const std::string& text) : ExpressionRule(RLParser(text).parse()) {}

ExpressionRule::ExpressionRule(std::shared_ptr<RLExpr> expression)
    : expression(std::move(expression)),
      program(std::make_shared<const RuleProgram>(this->expression)) {}

ExpressionRule::~ExpressionRule() = default;

bool ExpressionRule::Applies(SubscriptionArgs& args) const {
    return program->Holds(args);
}

ISubscriptionRule* ExpressionRule::Clone() const {
    return new ExpressionRule(*this);
}

bool ExpressionRule::IsPure() const {
    return IsExactly(*this) && program->IsPure();
}

std::optional<std::shared_ptr<RLExpr>> ExpressionRule::GetExpression() const {
    return IsPure() ? OptionalExpression(expression) : std::nullopt;
}

std::shared_ptr<const RuleProgram> ExpressionRule::GetProgram() const {
    return IsPure() ? program : nullptr;
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
