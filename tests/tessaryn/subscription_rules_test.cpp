// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/subscription_rules.h"

#include "support/live_count.h"
#include "support/rules.h"
#include "tessaryn/rules.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

using OwnedRule = std::unique_ptr<ISubscriptionRule>;

// A rule that logs each call by its name, and answers accordingly: 't' applies, 'f' does not, '!'
// throws; 'c' applies, and throws when it is cloned.
class LoggedRule : public ISubscriptionRule, public LiveCount<LoggedRule> {
  public:
    explicit LoggedRule(char name) : name(name) {}
    bool Applies(SubscriptionArgs& /*args*/) const override {
        log += name;
        return name == '!' ? throw std::runtime_error("asked") : name != 'f';
    }
    ISubscriptionRule* Clone() const override {
        log += name;
        return name == 'c' ? throw std::runtime_error("cloned") : new LoggedRule(*this);
    }

    static inline std::string log;

  private:
    char name;
};

ISubscriptionRule* Logged(char name) {
    return new LoggedRule(name);
}

// Who was asked, and the outcome.
std::string Ask(const ISubscriptionRule& rule) {
    SubscriptionArgs args{changed, nullptr, nullptr};
    LoggedRule::log.clear();
    const std::string outcome = OutcomeOf([&] { return rule.Applies(args); });
    return LoggedRule::log + " " + outcome;
}

TEST(SubscriptionRules, AskOperandsInOrderAndNoMoreThanNeeded) {
    const struct {
        const char* name;
        ISubscriptionRule* rule;
        const char* expected;
    } cases[] = {
        {"t and t", And(Logged('t'), Logged('t')), "tt true"},
        {"t and f", And(Logged('t'), Logged('f')), "tf false"},
        {"t and !", And(Logged('t'), Logged('!')), "t! std: asked"},
        {"f and !", And(Logged('f'), Logged('!')), "f false"},
        {"! and t", And(Logged('!'), Logged('t')), "! std: asked"},
        {"f or f", Or(Logged('f'), Logged('f')), "ff false"},
        {"f or t", Or(Logged('f'), Logged('t')), "ft true"},
        {"f or !", Or(Logged('f'), Logged('!')), "f! std: asked"},
        {"t or !", Or(Logged('t'), Logged('!')), "t true"},
        {"! or t", Or(Logged('!'), Logged('t')), "! std: asked"},
        {"t xor t", Xor(Logged('t'), Logged('t')), "tt false"},
        {"t xor f", Xor(Logged('t'), Logged('f')), "tf true"},
        {"f xor t", Xor(Logged('f'), Logged('t')), "ft true"},
        {"f xor f", Xor(Logged('f'), Logged('f')), "ff false"},
        {"t xor !", Xor(Logged('t'), Logged('!')), "t! std: asked"},
        {"! xor t", Xor(Logged('!'), Logged('t')), "! std: asked"},
        {"not t", Not(Logged('t')), "t false"},
        {"not f", Not(Logged('f')), "f true"},
        {"always", Always(), " true"},
        {"changed", HasStreamChangeType(changed), " true"},
        {"popped", HasStreamChangeType(popped), " false"},
        {"changed()", Expression("changed()"), " true"},
    };
    for (const auto& each : cases) {
        OwnedRule rule(each.rule);
        EXPECT_EQ(Ask(*rule), each.expected) << each.name;
        const OwnedRule clone(rule->Clone());
        rule.reset();
        EXPECT_EQ(Ask(*clone), each.expected) << "the clone of " << each.name;
    }
    EXPECT_EQ(LoggedRule::live, 0);
}

TEST(SubscriptionRules, CloneRightBeforeLeftAndLeakNoCloneWhenOneThrows) {
    const struct {
        const char* name;
        ISubscriptionRule* rule;
        const char* expected;
    } cases[] = {
        {"both", And(Logged('f'), Logged('t')), "tf true"},
        {"left throws", Or(Logged('c'), Logged('t')), "tc std: cloned"},
        {"right throws", Xor(Logged('t'), Logged('c')), "c std: cloned"},
        {"operand throws", Not(Logged('c')), "c std: cloned"},
    };
    for (const auto& each : cases) {
        const OwnedRule rule(each.rule);
        const int live = LoggedRule::live;
        LoggedRule::log.clear();
        const std::string outcome = OutcomeOf([&] { return OwnedRule(rule->Clone()) != nullptr; });
        EXPECT_EQ(LoggedRule::log + " " + outcome, each.expected) << each.name;
        EXPECT_EQ(LoggedRule::live, live) << each.name;
    }
    EXPECT_EQ(LoggedRule::live, 0);
}

TEST(SubscriptionRules, RefuseNullOperandsWhenTheyAreNeeded) {
    const struct {
        ISubscriptionRule* rule;
        const char* expected;
    } cases[] = {
        {And(nullptr, Logged('t')), " std: The left operand of AndRule is null."},
        {And(Logged('t'), nullptr), "t std: The right operand of AndRule is null."},
        {Or(nullptr, Logged('t')), " std: The left operand of OrRule is null."},
        {Or(Logged('f'), nullptr), "f std: The right operand of OrRule is null."},
        {Xor(nullptr, Logged('t')), " std: The left operand of XorRule is null."},
        {Xor(Logged('t'), nullptr), "t std: The right operand of XorRule is null."},
        {Not(nullptr), " std: The operand of NotRule is null."},
    };
    for (const auto& each : cases) {
        const OwnedRule rule(each.rule);
        EXPECT_EQ(Ask(*rule), each.expected);
        EXPECT_THROW(rule->Clone(), std::invalid_argument) << each.expected;
    }
    EXPECT_EQ(LoggedRule::live, 0);
}

TEST(OwnedRules, AnswerAsTheRulesOfTheSameName) {
    const struct {
        const char* name;
        OwnedRule rule;
        bool expected;
    } cases[] = {
        {"Always", rules::Always(), true},
        {"And", rules::And(rules::Always(), rules::Expression("popped()")), false},
        {"Or", rules::Or(rules::Expression("popped()"), rules::Always()), true},
        {"Xor", rules::Xor(rules::Always(), rules::Always()), false},
        {"Not", rules::Not(rules::HasStreamChangeType(popped)), true},
    };
    SubscriptionArgs args{changed, nullptr, nullptr};
    for (const auto& each : cases) {
        EXPECT_EQ(each.rule->Applies(args), each.expected) << each.name;
    }
}

TEST(OwnedRules, DeleteOperandsWhenOneIsRefused) {
    const auto logged = [] { return OwnedRule(Logged('t')); };
    const struct {
        const char* expected;
        std::function<OwnedRule()> make;
    } cases[] = {
        {"Syntax error: ", [&] { return rules::And(logged(), rules::Expression("x >")); }},
        {"Syntax error: ", [&] { return rules::And(rules::Expression("x >"), logged()); }},
        {"std: The left operand of And is null.", [&] { return rules::And({}, logged()); }},
        {"std: The right operand of Or is null.", [&] { return rules::Or(logged(), nullptr); }},
        {"std: The right operand of Xor is null.", [&] { return rules::Xor(logged(), {}); }},
        {"std: The operand of Not is null.", [&] { return rules::Not({}); }},
    };
    for (const auto& each : cases) {
        const std::string outcome = OutcomeOf([&] { return each.make() != nullptr; });
        EXPECT_EQ(outcome.substr(0, std::string(each.expected).size()), each.expected);
        EXPECT_EQ(LoggedRule::live, 0) << each.expected;
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
