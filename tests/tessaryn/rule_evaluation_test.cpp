// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/live_count.h"
#include "support/rules.h"
#include "support/samples.h"
#include "tessaryn/sample.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using test::OutcomeOf;
using test::Parse;
using namespace std::string_literals;

TEST(RuleEvaluation, AnswersAsTheLanguageSays) {
    test::TestType type({{"x", Int8, 1}, {"low", Int8, 1}, {"u64", UInt64, 1}, {"f", Float, 1}});
    type.type.Add("b", Bool, 1).Add("s", String, 0).Add("arr", Int32, 3).Add("none", Int32, 0);
    type.type.Add("empty", String, 0).Add("odd", static_cast<BaseType>(13), 2);
    Sample sample(&type.type, Poco::Timestamp());
    sample.Set(0, 0, char{-5});
    sample.Set(1, 0, char{-128});
    sample.Set(2, 0, ~0ULL);
    sample.Set(3, 0, 0.1F);
    sample.Set(4, 0, true);
    sample.Set(5, "a\0b"s);
    for (unsigned i = 0; i < 3; ++i)
        sample.Set(6, i, static_cast<int>(i + 1));
    SubscriptionArgs args{changed, &sample, nullptr};
    const struct {
        std::string outcome;
        std::vector<std::string> rules;
    } cases[] = {
        {"true",
         {"x == -5 && x == \"-5\" && x == -5.9 && low == -128 && low <= -127.0",
          "u64 == \"18446744073709551615\" && u64 > 9223372036854775807 && f == 0.1",
          "b == 1 && b == \"yes\" && b == 0.5", "s == \"a\0b\" && s[2] == \"a\0b\""s,
          "arr[-1] > 0 && arr[2:2147483647] == 3 && arr[:1] < 3 && arr[-1:0] == 1",
          "odd.type == \"Unknown\"", "empty.front == \"\" && empty.back == \"\"",
          "changed() || nosuch[0]", "x == -5 ||"}},
        {"false",
         {"x == 300 || x != 300 || x < 300 || x > 300 || x != \"abc\"", "u64 != -1 || u64 > -1",
          "low == -128.0 || low != -128.0", "arr != 2 || arr[3:] != 9 || arr[2:1] != 9",
          "empty == \"\" || empty != \"\" || empty[0] == \"\"", "x.Size == 1 || nosuch.size != 1",
          "odd == 0 || odd != 0 || odd.front == 0", "Changed() || X", "x == 1 && none.back == 1"}},
        {"Bad cast exception: Can not convert to bool", {"arr[0:1]", "!arr[:]"}},
        {"Invalid access: Can not convert empty value.",
         {"", "()", "!", "&& x", "x == -5 &&", "nosuch[0]", "arr[5]", "x.nosuch"}},
        {"std: Index out of range.", {"none.back == 1", "none.back ^^ nosuch[0]"}},
    };
    for (const auto& [outcome, rules] : cases) {
        for (const std::string& text : rules) {
            const std::unique_ptr<ISubscriptionRule> rule(Expression(text));
            EXPECT_EQ(OutcomeOf([&] { return rule->Applies(args); }), outcome) << text;
            const auto ofTree = [&] { return valueOf(Parse(text).get(), args).convert<bool>(); };
            EXPECT_EQ(OutcomeOf(ofTree), outcome) << text;
        }
    }
}

TEST(RuleEvaluation, FollowsTheTypeOfEachSampleOnManyThreads) {
    const std::unique_ptr<ISubscriptionRule> rule(Expression("a == 1 && !b"));
    const auto ask = [&](test::TestType& type) {
        Sample sample(&type.type, Poco::Timestamp());
        if (type.type.EntryExists("a"))
            sample.Set(sample.EntryId("a"), 0, "1");
        SubscriptionArgs args{pushed, &sample, nullptr};
        // Clones come and go while others evaluate.
        const std::unique_ptr<ISubscriptionRule> clone(rule->Clone());
        return rule->Applies(args) && clone->Applies(args);
    };
    test::TestType first({{"a", Int32, 1}});
    test::TestType second({{"b", Int32, 1}, {"a", Double, 1}});
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
struct NamedRule : ISubscriptionRule, test::LiveCount<NamedRule> {
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

}  // namespace
}  // namespace velmora::core::tessaryn
