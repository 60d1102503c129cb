// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/rules.h"
#include "support/samples.h"
#include "tessaryn/sample.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace velmora::core::tessaryn {
namespace {

using test::OutcomeOf;
using Rule = std::unique_ptr<ISubscriptionRule>;

/// A rule that is counted, reports each call in the fixture's log, and answers as its name says:
/// "T" and "F" apply or don't, "!" throws instead; "c" throws when it is cloned.
class NamedRule : public ISubscriptionRule {
  public:
    NamedRule(char ruleName, std::string& journal) : name(ruleName), log(journal) { ++live; }
    NamedRule(const NamedRule&) = delete;
    NamedRule& operator=(const NamedRule&) = delete;
    ~NamedRule() override {
        --live;
        log += '~';
        log += name;
    }

    bool Applies(SubscriptionArgs& /*args*/) const override {
        log += name;
        if (name == '!')
            throw std::runtime_error("asked");
        return name == 'T';
    }

    ISubscriptionRule* Clone() const override {
        log += '+';
        log += name;
        if (name == 'c')
            throw std::runtime_error("not cloned");
        return new NamedRule(name, log);
    }

    static inline int live = 0;

  private:
    char name;
    std::string& log;
};

class RuleCombinators : public testing::Test {
  protected:
    ~RuleCombinators() override { EXPECT_EQ(NamedRule::live, 0); }

    ISubscriptionRule* Make(char name) { return new NamedRule(name, log); }

    std::string LogOf(const std::function<void()>& action) {
        log.clear();
        action();
        return log;
    }

    std::string log;
    SubscriptionArgs args{changed, nullptr, nullptr};
};

using Combine = ISubscriptionRule* (*)(ISubscriptionRule*, ISubscriptionRule*);

TEST_F(RuleCombinators, AskTheirOperandsInOrderAndNoMoreThanNeeded) {
    const struct {
        Combine combine;
        std::string operands;
        std::string outcome;
        std::string asked;
    } cases[] = {
        {And, "TT", "true", "TT"},      {And, "TF", "false", "TF"}, {And, "FT", "false", "F"},
        {And, "FF", "false", "F"},      {And, "F!", "false", "F"},  {And, "T!", "std: asked", "T!"},
        {And, "!F", "std: asked", "!"}, {Or, "TT", "true", "T"},    {Or, "TF", "true", "T"},
        {Or, "FT", "true", "FT"},       {Or, "FF", "false", "FF"},  {Or, "T!", "true", "T"},
        {Or, "F!", "std: asked", "F!"}, {Xor, "TT", "false", "TT"}, {Xor, "TF", "true", "TF"},
        {Xor, "FT", "true", "FT"},      {Xor, "FF", "false", "FF"}, {Xor, "T!", "std: asked", "T!"},
        {Xor, "!T", "std: asked", "!"},
    };
    for (const auto& c : cases) {
        const Rule rule(c.combine(Make(c.operands[0]), Make(c.operands[1])));
        // The clone's clone behaves the same, after both sources have gone.
        Rule clone(rule->Clone());
        clone.reset(clone->Clone());
        for (const ISubscriptionRule* asked : {rule.get(), clone.get()}) {
            std::string outcome;
            const std::string order =
                LogOf([&] { outcome = OutcomeOf([&] { return asked->Applies(args); }); });
            EXPECT_EQ(outcome, c.outcome) << c.operands << " " << c.asked;
            EXPECT_EQ(order, c.asked) << c.operands << " " << c.outcome;
        }
    }
    const Rule no(Not(Make('T')));
    const Rule yes(Not(no->Clone()));
    EXPECT_FALSE(no->Applies(args));
    EXPECT_TRUE(yes->Applies(args));
}

TEST_F(RuleCombinators, CloneRightBeforeLeftAndDeleteEachOnce) {
    for (const Combine combine : {And, Or, Xor}) {
        Rule rule(combine(Make('T'), Make('F')));
        Rule clone;
        EXPECT_EQ(LogOf([&] { clone.reset(rule->Clone()); }), "+F+T");
        EXPECT_EQ(NamedRule::live, 4);
        EXPECT_EQ(LogOf([&] { rule.reset(); }), "~T~F");
        EXPECT_EQ(LogOf([&] { clone.reset(); }), "~T~F");
    }
    Rule rule(Not(Make('T')));
    Rule clone(rule->Clone());
    EXPECT_EQ(LogOf([&] { rule.reset(); }), "~T");
    EXPECT_EQ(LogOf([&] { clone.reset(); }), "~T");
}

TEST_F(RuleCombinators, FreeTheOtherCloneWhenOneThrows) {
    for (const Combine combine : {And, Or, Xor}) {
        const Rule left(combine(Make('c'), Make('T')));
        EXPECT_EQ(LogOf([&] { EXPECT_THROW(left->Clone(), std::runtime_error); }), "+T+c~T");
        const Rule right(combine(Make('T'), Make('c')));
        EXPECT_EQ(LogOf([&] { EXPECT_THROW(right->Clone(), std::runtime_error); }), "+c");
        EXPECT_EQ(NamedRule::live, 4);
    }
    const Rule deep(Or(And(Make('F'), Make('T')), Not(And(Not(Make('c')), Make('F')))));
    EXPECT_THROW(deep->Clone(), std::runtime_error);
    EXPECT_EQ(NamedRule::live, 4);
}

TEST(RuleCombinatorTypes, OnlyRulesWithoutOperandsAreCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<AndRule> || std::is_copy_assignable_v<AndRule>);
    EXPECT_FALSE(std::is_copy_constructible_v<OrRule> || std::is_copy_assignable_v<OrRule>);
    EXPECT_FALSE(std::is_copy_constructible_v<XorRule> || std::is_copy_assignable_v<XorRule>);
    EXPECT_FALSE(std::is_copy_constructible_v<NotRule> || std::is_copy_assignable_v<NotRule>);
    EXPECT_TRUE(std::is_copy_constructible_v<ExpressionRule>);
    EXPECT_TRUE(std::is_copy_assignable_v<ExpressionRule>);
}

TEST(StreamChangeTypeRule, AppliesToItsOwnChangeOnly) {
    for (const StreamChangeType wanted : {pushed, popped, changed}) {
        const Rule rule(HasStreamChangeType(wanted));
        const Rule clone(rule->Clone());
        for (const StreamChangeType happened : {pushed, popped, changed}) {
            // Nothing but the kind of change is read: there is no sample.
            SubscriptionArgs args{happened, nullptr, nullptr};
            EXPECT_EQ(rule->Applies(args), wanted == happened);
            EXPECT_EQ(clone->Applies(args), wanted == happened);
            const Rule always(Always());
            EXPECT_TRUE(Rule(always->Clone())->Applies(args));
        }
    }
}

/// An expression whose lifetime is seen by who made it.
struct Truth : RLExpr {
    ~Truth() override = default;
    TypedValue evaluate(const SubscriptionArgs& args) const override {
        return {UnknownType, args.changeType == pushed ? Poco::Dynamic::Var(0.5) : "false"};
    }
    void dump(std::ostream& /*out*/, int /*indent*/) const override {}
};

struct OpenExpressionRule : ExpressionRule {
    explicit OpenExpressionRule(std::shared_ptr<RLExpr> tree) : ExpressionRule(std::move(tree)) {}
};

TEST(ExpressionRule, SharesItsTreeWithCopiesAndClones) {
    test::TestType type({});
    Sample sample(&type.type, Poco::Timestamp());
    SubscriptionArgs push{pushed, &sample, nullptr};
    SubscriptionArgs pop{popped, &sample, nullptr};
    std::shared_ptr<RLExpr> tree = std::make_shared<Truth>();
    const std::weak_ptr<RLExpr> watch = tree;
    {
        auto rule = std::make_unique<OpenExpressionRule>(std::move(tree));
        const Rule clone(rule->Clone());
        const ExpressionRule copy(*rule);
        ExpressionRule assigned("x == 1");
        assigned = copy;
        rule.reset();
        // The value's own conversion to a truth counts, whatever type the expression tells.
        for (const ISubscriptionRule* each : {static_cast<const ISubscriptionRule*>(clone.get()),
                                              static_cast<const ISubscriptionRule*>(&copy),
                                              static_cast<const ISubscriptionRule*>(&assigned)}) {
            EXPECT_TRUE(each->Applies(push));
            EXPECT_FALSE(each->Applies(pop));
        }
    }
    EXPECT_TRUE(watch.expired());
}

TEST(ExpressionRule, PassesOnWhatTheParserThrows) {
    // Trees half made at each stage of parsing; what they leak, the sanitizer tells.
    for (const std::string text :
         {"a && b", "(a == 1 || b() ^^ !c", "a.b == \"x\" && d[1:2] > 0x", "(a) ^^ (b) ^^ c d",
          "((((a == \"1", "x == 1 && y == 1e", "f() || g(1)"}) {
        EXPECT_THROW(ExpressionRule rule(text), Poco::SyntaxException) << text;
        EXPECT_THROW(delete Expression(text), Poco::SyntaxException) << text;
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
