// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/rule_model.h"

#include "support/random.h"
#include "support/rules.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

namespace velmora::core::tessaryn {
namespace {

using test::OutcomeOf;

TEST(RuleModel, RandomRulesAnswerAsASecondEvaluatorDoes) {
    test::Random random;
    std::map<std::string, int> outcomes;
    for (int round = 0; round < 6000; ++round) {
        const test::rules::Rule rule = test::rules::RuleMaker(random).Expression(0, true);
        test::rules::ModelledSample modelled(random);
        SubscriptionArgs args = modelled.Args();
        const std::string expected = OutcomeOf([&] { return rule.Holds(modelled.world); });
        const std::string where = rule.text + "\n" + test::BinaryOf(modelled.sample);
        const ExpressionRule planned(rule.text);
        ASSERT_EQ(OutcomeOf([&] { return planned.Applies(args); }), expected) << where;
        const std::shared_ptr<RLExpr> tree = test::Parse(rule.text);
        const auto ofTree = [&] { return valueOf(tree.get(), args).convert<bool>(); };
        ASSERT_EQ(OutcomeOf(ofTree), expected) << where;
        ++outcomes[expected];
    }
    // Rules that all fail, or all hold, would show nothing.
    EXPECT_TRUE(outcomes["true"] > 500 && outcomes["false"] > 500 && outcomes.size() == 5U);
}

}  // namespace
}  // namespace velmora::core::tessaryn
