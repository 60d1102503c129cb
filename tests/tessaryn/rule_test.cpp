// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/random.h"
#include "support/rule_model.h"
#include "support/rules.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <thread>

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

}  // namespace
}  // namespace velmora::core::tessaryn
