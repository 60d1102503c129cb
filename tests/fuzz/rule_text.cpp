// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/cost_limit.h"
#include "fuzz/fuzz.h"
#include "support/random_rules.h"
#include "support/rules.h"
#include "tessaryn/expression_visitor.h"
#include "tessaryn/overloaded.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* bytes, std::size_t size, std::size_t maxSize);

namespace velmora::test {

namespace {

using namespace core::tessaryn;

// A literal as a rule's text says it.
std::string LiteralText(const Poco::Dynamic::Var& literal) {
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

// How tightly the outermost operator of a tree binds.
int PrecedenceOf(const RLExpr* tree) {
    constexpr int term = 4;
    if (tree == nullptr) {
        return term;
    }
    return VisitExpression(
        *tree, Overloaded{[](const RLXorExpr&) { return 1; }, [](const RLOrExpr&) { return 2; },
                          [](const RLAndExpr&) { return 3; }, [](const RLExpr&) { return term; }});
}

// A text for a tree, from what its nodes return. It has no more groups in each other than any text
// of the tree, whose number is limited: a bare name needs one before an operator.
std::string TextOf(const RLExpr* tree, bool isBeforeOperator = false) {
    if (tree == nullptr) {
        return "";
    }
    const auto group = [](const RLExpr* operand) { return "(" + TextOf(operand) + ")"; };
    const auto join = [&](const RLBinaryExpr& node, const char* symbol) {
        const int own = PrecedenceOf(&node);
        const RLExpr* const left = node.leftOperand();
        const RLExpr* const right = node.rightOperand();
        return (PrecedenceOf(left) < own ? group(left) : TextOf(left, true)) + symbol +
               (PrecedenceOf(right) <= own ? group(right) : TextOf(right, isBeforeOperator));
    };
    return VisitExpression(
        *tree,
        Overloaded{
            [&](const RLAndExpr& node) { return join(node, " && "); },
            [&](const RLOrExpr& node) { return join(node, " || "); },
            [&](const RLXorExpr& node) { return join(node, " ^^ "); },
            [&](const RLNotExpr& node) {
                const RLExpr* const negated = node.negatedOperand();
                const bool isTerm = PrecedenceOf(negated) == PrecedenceOf(nullptr) &&
                                    dynamic_cast<const RLNotExpr*>(negated) == nullptr;
                return "!" + (isTerm ? TextOf(negated, isBeforeOperator) : group(negated));
            },
            [](const RLRelExpr& node) {
                return TextOf(node.leftOperand()) + node.symbol() + LiteralText(node.literal());
            },
            [](const RLPropExpr& node) { return node.entryName() + "." + node.propertyName(); },
            [](const RLIndexExpr& node) {
                return node.entryName() + "[" + std::to_string(node.first()) + ":" +
                       std::to_string(node.last()) + "]";
            },
            [](const RLFuncExpr& node) { return node.functionName() + "()"; },
            [&](const RLExistsExpr& node) {
                return isBeforeOperator ? "(" + node.entryName() + ")" : node.entryName();
            },
            [](const RLExpr&) { return std::string(); }});
}

std::string WithLimitedIndent(const std::string& dump) {
    std::istringstream lines(dump);
    std::string limited;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t indent = std::min(line.find_first_not_of(' '), line.size());
        const std::size_t limit = std::size_t{maxDescriptionIndent};
        limited += line.substr(indent > limit ? indent - limit : 0) + '\n';
    }
    return limited;
}

// The program's outcome is that of the tree, also once the names of entries are bound.
void ExpectOutcomeOfTree(const std::string& text, const RLExpr* tree, RandomSample& random) {
    SubscriptionArgs args = random.Args();
    const std::string bytes = BinaryOf(random.sample);
    const std::string expected = OutcomeOf([&] { return valueOf(tree, args).convert<bool>(); });
    const ExpressionRule rule(text);
    const std::unique_ptr<ISubscriptionRule> clone(rule.Clone());
    ASSERT_EQ(OutcomeOf([&] { return rule.Applies(args); }), expected) << "unbound: " << text;
    ASSERT_EQ(OutcomeOf([&] { return clone->Applies(args); }), expected) << "bound: " << text;
    ASSERT_EQ(BinaryOf(random.sample), bytes) << "the sample was changed: " << text;
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
// refused with a syntax error, or its outcome, be it an exception, is that of the tree, and the
// tree written as a text gives the same tree.
void Fuzz(std::string_view input) {
    std::string text(input.substr(0, input.find('\0')));
    ByteChoices choices(input.substr(std::min(input.size(), text.size() + 1)));
    const bool made = text.empty();
    const RandomRule rule = made ? RuleMaker(choices).Expression(0, true) : RandomRule{text, ""};
    std::shared_ptr<RLExpr> tree;
    try {
        const CostLimit limit("Parsing", rule.text.size(), 500);
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
        const CostLimit limit("Describing a rule", rule.text.size(), 300);
        description = DescribeRule(rule.text);
    }
    ASSERT_EQ(description, WithLimitedIndent(DumpOf(tree.get()))) << rule.text;
    RandomSample random(choices);
    ExpectOutcomeOfTree(rule.text, tree.get(), random);
    {
        const CostLimit limit("Checking a rule", rule.text.size(), 500);
        CheckRule(rule.text, random.layout.type);
    }
    ExpectFindingsForNewSample(rule.text, random.layout.type);
}

}  // namespace velmora::test

// NOLINTNEXTLINE(readability-identifier-naming): the fuzzer's name
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* bytes, std::size_t size,
                                               std::size_t maxSize, unsigned seed) {
    std::minstd_rand random(seed);
    if (size < 2 || random() % 4 != 0) {
        return LLVMFuzzerMutate(bytes, size, maxSize);
    }
    // A part that is repeated as often as there is room, such as a term of a chain.
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    const std::size_t begin = random() % (size - 1);
    const std::size_t length = 1 + random() % std::min<std::size_t>(size - begin, 16);
    std::string longer = text.substr(0, begin);
    const std::size_t room = maxSize - size;
    for (std::size_t i = 0; i < 1 + room / length; ++i) {
        longer += text.substr(begin, length);
    }
    longer += text.substr(begin + length);
    return longer.copy(reinterpret_cast<char*>(bytes), maxSize);
}
