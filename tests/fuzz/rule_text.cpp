// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/fuzz.h"
#include "support/rule_model.h"
#include "support/rules.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace velmora::test {

namespace {

using namespace rules;

/// A literal as a rule's text says it.
std::string LiteralText(const Var& literal) {
    if (literal.isString()) {
        std::string text = "\"";
        for (const char character : literal.extract<std::string>()) {
            if (character == '"' || character == '\\')
                text += '\\';
            text += character;
        }
        return text + "\"";
    }
    if (literal.isBoolean() || literal.isInteger())
        return literal.toString();
    char digits[32];
    std::snprintf(digits, sizeof digits, "%#.17g", literal.extract<double>());
    return digits;
}

/// The meaning of a tree, and a text for it, from what its nodes tell about themselves.
Rule MeaningOf(const RLExpr* tree) {
    const auto textOf = [](const Rule& operand) { return "(" + operand.text + ")"; };
    if (const auto* const binary = dynamic_cast<const RLBinaryExpr*>(tree)) {
        const std::size_t join = dynamic_cast<const RLXorExpr*>(tree) != nullptr  ? 0
                                 : dynamic_cast<const RLOrExpr*>(tree) != nullptr ? 1
                                                                                  : 2;
        const Rule left = MeaningOf(binary->leftOperand());
        const Rule right = MeaningOf(binary->rightOperand());
        return Join(left, join, right, textOf(left) + joins[join] + textOf(right));
    }
    if (const auto* const negation = dynamic_cast<const RLNotExpr*>(tree)) {
        Rule operand = MeaningOf(negation->negatedOperand());
        operand.text = textOf(operand);
        return Not(operand);
    }
    if (const auto* const relation = dynamic_cast<const RLRelExpr*>(tree)) {
        const auto comparison =
            std::find(comparisons.begin(), comparisons.end(), relation->symbol());
        const Rule left = MeaningOf(relation->leftOperand());
        return Comparison(left, static_cast<unsigned>(comparison - comparisons.begin()),
                          relation->literal(),
                          left.text + *comparison + LiteralText(relation->literal()));
    }
    if (const auto* const property = dynamic_cast<const RLPropExpr*>(tree))
        return Property(property->entryName(), property->propertyName(),
                        property->entryName() + "." + property->propertyName());
    if (const auto* const index = dynamic_cast<const RLIndexExpr*>(tree))
        return Index(index->entryName(), index->first(), index->last(),
                     index->entryName() + "[" + std::to_string(index->first()) + ":" +
                         std::to_string(index->last()) + "]");
    if (const auto* const function = dynamic_cast<const RLFuncExpr*>(tree))
        return Function(function->functionName());
    if (const auto* const exists = dynamic_cast<const RLExistsExpr*>(tree))
        return Exists(exists->entryName());
    return {};
}

void ExpectSame(const std::string& text, const Rule& rule, ModelledSample& modelled) {
    SubscriptionArgs args = modelled.Args();
    const std::string bytes = BinaryOf(modelled.sample);
    const std::string expected = OutcomeOf([&] { return rule.Holds(modelled.world); });
    const ExpressionRule planned(text);
    const std::unique_ptr<ISubscriptionRule> clone(planned.Clone());
    ASSERT_EQ(OutcomeOf([&] { return planned.Applies(args); }), expected) << "planned: " << text;
    ASSERT_EQ(OutcomeOf([&] { return clone->Applies(args); }), expected) << "cloned: " << text;
    const std::shared_ptr<RLExpr> tree = Parse(text);
    ASSERT_EQ(OutcomeOf([&] { return valueOf(tree.get(), args).convert<bool>(); }), expected)
        << "tree: " << text;
    ASSERT_EQ(BinaryOf(modelled.sample), bytes) << "the sample was changed: " << text;
}

}  // namespace

// The bytes up to the first zero are a rule; without them, a rule is made by the others. It is
// refused with a syntax error, or its answer, be it an exception, is that of the second evaluator,
// and its tree written as a text gives the same tree.
void Fuzz(std::string_view input) {
    const std::string text(input.substr(0, input.find('\0')));
    ByteChoices choices(input.substr(std::min(input.size(), text.size() + 1)));
    std::shared_ptr<RLExpr> tree;
    try {
        tree = Parse(text);
    } catch (const Poco::SyntaxException&) {
        ASSERT_THROW(ExpressionRule{text}, Poco::SyntaxException) << text;
        return;
    }
    Rule rule = MeaningOf(tree.get());
    ASSERT_EQ(DumpOf(Parse(rule.text).get()), DumpOf(tree.get())) << text << " " << rule.text;
    ASSERT_EQ(DescribeRule(text), DumpOf(tree.get())) << text;
    rule.text = text;
    if (text.empty())
        rule = RuleMaker(choices).Expression(0, true);
    ModelledSample modelled(choices);
    ExpectSame(rule.text, rule, modelled);
    CheckRule(rule.text, modelled.layout.type);
}

}  // namespace velmora::test
