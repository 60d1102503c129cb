// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/live_count.h"
#include "support/random.h"
#include "support/rule_model.h"
#include "support/rules.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using namespace std::string_literals;

// ---- Evaluation ----

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
    type.type.Add("odd", static_cast<BaseType>(13), 2).Add("odder", static_cast<BaseType>(32), 2);
    Sample sample(&type.type, Poco::Timestamp());
    sample.Set(0, 0, ~0ULL);
    sample.Set(1, 0, 0.1F);
    sample.Set(2, "a\0b"s);
    SubscriptionArgs args{changed, &sample, nullptr};
    for (const std::string& text :
         {"u64 == \"18446744073709551615\" && u64 > 9223372036854775807 && !(u64 != -1)"s,
          "f == 0.1 && arr[2:2147483647] == 0 && arr[:1] < 3"s,
          "s == \"a\0b\" && s[2] == \"a\0b\" && odd.type == \"Unknown\""s,
          "!(odd == 0 || odd != 0 || odd.front == 0)"s,
          "odder.size == 0 && odd.size < 1 && odder"s}) {
        EXPECT_TRUE(ExpressionRule(text).Applies(args)) << text;
        EXPECT_TRUE(valueOf(Parse(text).get(), args).convert<bool>()) << text;
    }
}

// What is remembered of an entry that isn't there must not be taken for a place in the sample.
TEST(RuleEvaluation, RemembersThatAnEntryIsMissing) {
    TestType layout({{"x", Double, 1}});
    Sample sample(&layout.type, Poco::Timestamp());
    SubscriptionArgs args{pushed, &sample, nullptr};
    const ExpressionRule rule("x == 0 && missing == 0");
    for (int round = 0; round < 3; ++round) {
        EXPECT_FALSE(rule.Applies(args));
    }
}

TEST(RuleEvaluation, FollowsTheTypeOfEachSampleOnManyThreads) {
    const std::unique_ptr<ISubscriptionRule> rule(Expression("a == 1 && !b"));
    const auto ask = [&](TestType& type) {
        Sample sample(&type.type, Poco::Timestamp());
        if (type.type.EntryExists("a")) {
            sample.Set(sample.EntryId("a"), 0, "1");
        }
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
            for (int round = 0; round < 300; ++round) {
                EXPECT_TRUE(ask(first) && !ask(second));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
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

// A rule that is counted, reports each call in a log, and answers as its name says: "T" and "F"
// apply or don't, "!" throws instead; "c" throws when it is cloned.
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
            if (!cloned) {
                continue;
            }
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

}  // namespace
}  // namespace velmora::core::tessaryn
