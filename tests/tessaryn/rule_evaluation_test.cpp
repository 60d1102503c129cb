// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/live_count.h"
#include "support/random.h"
#include "support/rule_model.h"
#include "support/rules.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using namespace std::string_literals;

TEST(RuleEvaluation, OfRandomRulesIsThatOfASecondEvaluator) {
    Random random;
    std::map<std::string, int> outcomes;
    for (int round = 0; round < 6000; ++round) {
        const rules::Rule rule = rules::RuleMaker(random).Expression(0, true);
        rules::ModelledSample modelled(random);
        SubscriptionArgs args = modelled.Args();
        const std::string where = rule.text + "\n" + BinaryOf(modelled.sample);
        const std::shared_ptr<RLExpr> tree = Parse(rule.text);
        ASSERT_EQ(DumpOf(tree.get()), DumpOf(Parse(rule.full).get())) << where;
        const std::string expected =
            OutcomeOf([&] { return rules::ValueOf(tree.get(), modelled.world).convert<bool>(); });
        const ExpressionRule planned(rule.text);
        ASSERT_EQ(OutcomeOf([&] { return planned.Applies(args); }), expected) << where;
        const auto ofTree = [&] { return valueOf(tree.get(), args).convert<bool>(); };
        ASSERT_EQ(OutcomeOf(ofTree), expected) << where;
        ++outcomes[expected];
    }
    // Rules that all fail, or all hold, would show nothing.
    EXPECT_TRUE(outcomes["true"] > 500 && outcomes["false"] > 500 && outcomes.size() == 5U);
}

TEST(RuleEvaluation, TakesRareTypesAndLiteralsToo) {
    TestType type({{"u64", UInt64, 1}, {"f", Float, 1}, {"s", String, 0}, {"arr", Int32, 3}});
    type.type.Add("odd", static_cast<BaseType>(13), 2);
    Sample sample(&type.type, Poco::Timestamp());
    sample.Set(0, 0, ~0ULL);
    sample.Set(1, 0, 0.1F);
    sample.Set(2, "a\0b"s);
    SubscriptionArgs args{changed, &sample, nullptr};
    for (const std::string& text :
         {"u64 == \"18446744073709551615\" && u64 > 9223372036854775807 && !(u64 != -1)"s,
          "f == 0.1 && arr[2:2147483647] == 0 && arr[:1] < 3"s,
          "s == \"a\0b\" && s[2] == \"a\0b\" && odd.type == \"Unknown\""s,
          "!(odd == 0 || odd != 0 || odd.front == 0)"s}) {
        EXPECT_TRUE(ExpressionRule(text).Applies(args)) << text;
        EXPECT_TRUE(valueOf(Parse(text).get(), args).convert<bool>()) << text;
    }
}

TEST(RuleEvaluation, FollowsTheTypeOfEachSampleOnManyThreads) {
    const std::unique_ptr<ISubscriptionRule> rule(Expression("a == 1 && !b"));
    const auto ask = [&](TestType& type) {
        Sample sample(&type.type, Poco::Timestamp());
        if (type.type.EntryExists("a"))
            sample.Set(sample.EntryId("a"), 0, "1");
        SubscriptionArgs args{pushed, &sample, nullptr};
        // Clones come and go while others evaluate.
        const std::unique_ptr<ISubscriptionRule> clone(rule->Clone());
        return rule->Applies(args) && clone->Applies(args);
    };
    TestType first({{"a", Int32, 1}});
    TestType second({{"b", Int32, 1}, {"a", Double, 1}});
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 300; ++round)
                EXPECT_TRUE(ask(first) && !ask(second));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    // The types change under the rule: entries come, go and move to other ids.
    first.type.Add("b", Bool, 1);
    EXPECT_FALSE(ask(first));
    second.type.Remove(0);
    EXPECT_TRUE(ask(second));
    second.type.Remove(0);
    EXPECT_FALSE(ask(second));
    first.type.Remove(1);
    EXPECT_TRUE(ask(first));
}

// ---- Combinators ----

/// A rule that is counted, reports each call in a log, and answers as its name says: "T" and "F"
/// apply or don't, "!" throws instead; "c" throws when it is cloned.
struct NamedRule : ISubscriptionRule, LiveCount<NamedRule> {
    NamedRule(char ruleName, std::string& journal) : name(ruleName), log(journal) {}
    ~NamedRule() override = default;
    bool Applies(SubscriptionArgs& /*args*/) const override {
        log += name;
        return name == '!' ? throw std::runtime_error("asked") : name == 'T';
    }
    ISubscriptionRule* Clone() const override {
        log += name;
        return name == 'c' ? throw std::runtime_error("not cloned") : new NamedRule(name, log);
    }

    char name;
    std::string& log;
};

TEST(RuleCombinators, AskInOrderAndNoMoreThanNeededAndCloneRightBeforeLeft) {
    using Rule = std::unique_ptr<ISubscriptionRule>;
    std::string log;
    SubscriptionArgs args{changed, nullptr, nullptr};
    const std::pair<char, ISubscriptionRule* (*)(ISubscriptionRule*, ISubscriptionRule*)>
        combinators[] = {{'&', And}, {'|', Or}, {'^', Xor}};
    for (const auto& [kind, combine] : combinators) {
        for (const std::string operands : {"TT", "TF", "T!", "FT", "FF", "F!", "!T", "Tc", "cT"}) {
            const char a = operands[0];
            const char b = operands[1];
            Rule rule(Not(combine(new NamedRule(a, log), new NamedRule(b, log))));
            Rule clone;
            log.clear();
            const auto makeClone = [&] {
                clone.reset(rule->Clone());
                return true;
            };
            const bool cloned = OutcomeOf(makeClone) == "true";
            EXPECT_EQ(cloned, operands.find('c') == std::string::npos);
            EXPECT_EQ(log, b == 'c' ? "c" : std::string(1, b) + a);
            EXPECT_EQ(NamedRule::live, cloned ? 4 : 2) << operands;
            if (!cloned)
                continue;
            rule.reset();
            const bool ends = a == '!' || (kind == '&' && a == 'F') || (kind == '|' && a == 'T');
            const std::string asked = ends ? operands.substr(0, 1) : operands;
            const bool holds = kind == '^' ? a != b : asked.back() == 'T';
            log.clear();
            EXPECT_EQ(OutcomeOf([&] { return clone->Applies(args); }), asked.back() == '!'
                                                                           ? "std: asked"
                                                                       : holds ? "false"
                                                                               : "true");
            EXPECT_EQ(log, asked) << kind;
        }
        EXPECT_EQ(NamedRule::live, 0);
    }
}

TEST(RuleCheck, FindsWhatCanNeverMatch) {
    StreamType type;
    type.Add("x", Int8, 1).Add("v", UInt16, 3).Add("s", String, 0).Add("b", Bool, 1);
    std::string chain = "X == 1";
    for (int i = 0; i < 20'000; ++i)
        chain += " && X == 1";
    const auto never = [](const std::string& literal, const std::string& as,
                          const std::string& term) {
        return "The literal '" + literal + "' does not convert to " + as + ": the comparison '" +
               term + "' never holds";
    };
    const std::string noX = "The stream type has no entry 'X'";
    const std::string noY = "The stream type has no entry 'y'";
    const struct {
        std::string text;
        std::vector<std::string> messages;
    } cases[] = {
        {"", {}},
        {"x == 127 && x != -128 && x < 1.5 && v[2:7] >= 65535 && s == \"\" && b != false", {}},
        {"s == 5 && s.size > 2 && s.type == \"String\" && x == \"7\" && x.exists == false", {}},
        {"pushed() && popped() != true && !changed() || true() ^^ false()", {}},
        {"x != 128", {never("128", "Int8", "!= 128")}},
        {"x.front == -128.0", {never("-128", "Int8", "== -128")}},
        {"v[9] < -1", {never("-1", "UInt16", "< -1")}},
        {"s.size >= \"many\"", {never("many", "UInt32", ">= many")}},
        {"!(y.exists == true) ^^ X == 1 || y[2] < 300", {noY, noX}},
        {"y.front > 1 && (x == 300)", {noY, never("300", "Int8", "== 300")}},
        {"x.length == 1", {"There is no property 'length': 'x.length' has no value"}},
        {"Pushed()", {"There is no function 'Pushed': 'Pushed()' is always false"}},
        {chain + " && y == 1", {noX, noY}},
    };
    for (const auto& each : cases) {
        std::vector<std::string> messages;
        for (const RuleFinding& finding : CheckRule(each.text, type))
            messages.push_back(finding.message);
        EXPECT_EQ(messages, each.messages) << each.text.substr(0, 100);
    }
    EXPECT_THROW(CheckRule("x ==", type), Poco::SyntaxException);
}

}  // namespace
}  // namespace velmora::core::tessaryn
