// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/cost_limit.h"
#include "fuzz/fuzz.h"
#include "support/rule_model.h"
#include "support/rules.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace velmora::test {

namespace {

using namespace rules;

// A literal as a rule's text says it.
std::string LiteralText(const Var& literal) {
    if (literal.isString()) {
        std::string text = "\"";
        for (const char character : literal.extract<std::string>()) {
            if (character == '"' || character == '\\') {
                text += '\\';
            }
            text += character;
        }
        return text + "\"";
    }
    if (literal.isBoolean() || literal.isInteger()) {
        return literal.toString();
    }
    char digits[32];
    std::snprintf(digits, sizeof digits, "%#.17g", literal.extract<double>());
    return digits;
}

// A text for a tree, from what its nodes tell about themselves.
std::string TextOf(const RLExpr* tree) {
    if (const auto* const binary = dynamic_cast<const RLBinaryExpr*>(tree)) {
        const std::string join = dynamic_cast<const RLXorExpr*>(tree) != nullptr  ? "^^"
                                 : dynamic_cast<const RLOrExpr*>(tree) != nullptr ? "||"
                                                                                  : "&&";
        return "(" + TextOf(binary->leftOperand()) + ")" + join + "(" +
               TextOf(binary->rightOperand()) + ")";
    }
    if (const auto* const negation = dynamic_cast<const RLNotExpr*>(tree)) {
        return "!(" + TextOf(negation->negatedOperand()) + ")";
    }
    if (const auto* const relation = dynamic_cast<const RLRelExpr*>(tree)) {
        return TextOf(relation->leftOperand()) + relation->symbol() +
               LiteralText(relation->literal());
    }
    if (const auto* const property = dynamic_cast<const RLPropExpr*>(tree)) {
        return property->entryName() + "." + property->propertyName();
    }
    if (const auto* const index = dynamic_cast<const RLIndexExpr*>(tree)) {
        return index->entryName() + "[" + std::to_string(index->first()) + ":" +
               std::to_string(index->last()) + "]";
    }
    if (const auto* const function = dynamic_cast<const RLFuncExpr*>(tree)) {
        return function->functionName() + "()";
    }
    const auto* const exists = dynamic_cast<const RLExistsExpr*>(tree);
    return exists == nullptr ? "" : exists->entryName();
}

void ExpectSame(const std::string& text, const RLExpr* tree, ModelledSample& modelled) {
    SubscriptionArgs args = modelled.Args();
    const std::string bytes = BinaryOf(modelled.sample);
    const std::string expected =
        OutcomeOf([&] { return ValueOf(tree, modelled.world).convert<bool>(); });
    const ExpressionRule planned(text);
    const std::unique_ptr<ISubscriptionRule> clone(planned.Clone());
    ASSERT_EQ(OutcomeOf([&] { return planned.Applies(args); }), expected) << "planned: " << text;
    ASSERT_EQ(OutcomeOf([&] { return clone->Applies(args); }), expected) << "cloned: " << text;
    ASSERT_EQ(OutcomeOf([&] { return valueOf(tree, args).convert<bool>(); }), expected)
        << "tree: " << text;
    ASSERT_EQ(BinaryOf(modelled.sample), bytes) << "the sample was changed: " << text;
}

// A rule without a finding that can throw does not throw for a new sample.
void ExpectFindingsForNewSample(const std::string& text, StreamType& type) {
    Sample sample(&type, Poco::Timestamp());
    SubscriptionArgs args{pushed, &sample, nullptr};
    bool canThrow = false;
    for (const RuleFinding& finding : CheckRule(text, type)) {
        ASSERT_LE(finding.span.offset + finding.span.length, text.size()) << text;
        canThrow = canThrow || finding.CanThrow();
    }
    if (!canThrow) {
        ASSERT_NO_THROW(static_cast<void>(ExpressionRule(text).Applies(args))) << text;
    }
}

}  // namespace

// The bytes up to the first zero are a rule; without them, a rule is made by the others. It is
// refused with a syntax error, or its answer, be it an exception, is that of the second evaluator,
// and its tree written as a text gives the same tree.
void Fuzz(std::string_view input) {
    std::string text(input.substr(0, input.find('\0')));
    ByteChoices choices(input.substr(std::min(input.size(), text.size() + 1)));
    const bool made = text.empty();
    const Rule rule = made ? RuleMaker(choices).Expression(0, true) : Rule{text, ""};
    std::shared_ptr<RLExpr> tree;
    try {
        const CostLimit limit("Parsing", rule.text.size(), 1'000);
        tree = Parse(rule.text);
    } catch (const RuleSyntaxException& error) {
        ASSERT_TRUE(!made) << rule.text;
        ASSERT_LE(error.GetSpan().offset + error.GetSpan().length, text.size()) << text;
        ASSERT_THROW(ExpressionRule{text}, Poco::SyntaxException) << text;
        return;
    }
    text = made ? rule.full : TextOf(tree.get());
    ASSERT_EQ(DumpOf(Parse(text).get()), DumpOf(tree.get())) << rule.text << " " << text;
    std::string description;
    {
        const CostLimit limit("Describing a rule", rule.text.size(), 1'000);
        description = DescribeRule(rule.text);
    }
    ASSERT_EQ(description, DumpOf(tree.get())) << rule.text;
    ModelledSample modelled(choices);
    ExpectSame(rule.text, tree.get(), modelled);
    {
        const CostLimit limit("Checking a rule", rule.text.size(), 1'000);
        CheckRule(rule.text, modelled.layout.type);
    }
    ExpectFindingsForNewSample(rule.text, modelled.layout.type);
}

}  // namespace velmora::test
