// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/logged_stream.h"
#include "support/random.h"
#include "tessaryn/private/subscription_rule_expressions.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

class Notification : public LoggedStream {};
class SubscriberListTest : public LoggedStream {};

TEST_F(Notification, AsksEachRuleBeforeItsDelegateInOrderOfSubscribing) {
    stream.Subscribe({Rule('A'), Target(0)});
    stream.Subscribe({Rule('B', false), Target(1)});
    stream.Subscribe({Rule('C'), Target(2)});
    stream.Subscribe({Rule('D'), Target(0)});
    EXPECT_EQ(LogOf(2), "A2 a2 B2 C2 c2 D2 a2 ");
    // One target, whatever its rules; the others keep their order.
    stream.Unsubscribe(Logging(0));
    stream.Unsubscribe(Logging(9));
    stream.Clear(1 + 8);
    EXPECT_EQ(LogOf(3), "B3 C3 c3 ");
    stream.Clear(2);
    EXPECT_EQ(LogOf(4), "");
    EXPECT_EQ(AllOf(stream), (std::vector<int>{3, 4}));
}

TEST_F(Notification, SharesOneCopyWhoseChangesLaterSubscribersSee) {
    const auto change = [](SubscriptionArgs& args) {
        args.sample->Set(0, 0, args.sample->GetInt32(0, 0) + 10);
        return false;
    };
    stream.Subscribe(
        {And(Always(), Not(Or(Xor(Always(), Always()), new TestRule(change)))), Target(0)});
    stream.Subscribe(Logging(1, change));
    stream.Subscribe({Rule('C'), Target(2)});
    stream.Subscribe({Expression("x == 27"), Target(3)});
    stream.Subscribe({Expression("x == 7"), Target(4)});
    EXPECT_EQ(LogOf(7), "a17 b17 C27 c27 d27 ");
    EXPECT_EQ(LatestOf(stream), 7);
}

TEST_F(Notification, SurvivesADelegateThatMovesTheSampleAway) {
    stream.Subscribe(SubscriptionOf(
        0, [](Stream&, SubscriptionArgs& args) { const Sample taken = std::move(*args.sample); }));
    for (const char* rule : {"x == 1", "x", "x[0] != 1", "x.exists", "x.size >= 0", "!x.front"}) {
        stream.Subscribe({Expression(rule), Target(1)});
    }
    EXPECT_THROW(LogOf(1), Poco::InvalidAccessException);
    EXPECT_EQ(log, "");
}

TEST_F(Notification, SurvivesADelegateThatLeavesNoSample) {
    stream.Subscribe(
        SubscriptionOf(0, [](Stream&, SubscriptionArgs& args) { args.sample = nullptr; }));
    stream.Subscribe({Expression("pushed() && !popped()"),
                      TestDelegate(1, [&](Stream&, SubscriptionArgs&) { log += "notified"; })});
    EXPECT_EQ(LogOf(1), "notified");
}

// A node and two rules of a host that change the sample that they are asked about.
struct ChangingExpr : RLExpr {
    TypedValue evaluate(const SubscriptionArgs& args) const override {
        args.sample->Set(0, 0, -1);
        return TypedValue(true);
    }
    void dump(std::ostream&, int) const override {}
};

struct HostExpressionRule : ExpressionRule {
    explicit HostExpressionRule(std::shared_ptr<RLExpr> expression)
        : ExpressionRule(std::move(expression)) {}
};

template <class Base>
ISubscriptionRule* MakeChanging();

template <class Base>
struct ChangingRule : Base {
    using Base::Base;
    bool Applies(SubscriptionArgs& args) const override {
        args.sample->Set(0, 0, -1);
        return Base::Applies(args);
    }
    ISubscriptionRule* Clone() const override { return MakeChanging<Base>(); }
};

// One that applies.
template <class Base>
ISubscriptionRule* MakeChanging() {
    if constexpr (std::is_constructible_v<Base, ISubscriptionRule*, ISubscriptionRule*>) {
        const bool isXor = std::is_same_v<Base, XorRule>;
        return new ChangingRule<Base>(Always(), isXor ? Not(Always()) : Always());
    } else if constexpr (std::is_constructible_v<Base, ISubscriptionRule*>) {
        return new ChangingRule<Base>(Not(Always()));
    } else if constexpr (std::is_constructible_v<Base, StreamChangeType>) {
        return new ChangingRule<Base>(pushed);
    } else if constexpr (std::is_constructible_v<Base, std::string>) {
        return new ChangingRule<Base>("x != 0");
    } else {
        return new ChangingRule<Base>();
    }
}

TEST_F(Notification, GivesRulesOfTheHostTheCopy) {
    const auto changing = [] {
        return new TestRule([](SubscriptionArgs& args) {
            args.sample->Set(0, 0, -1);
            return true;
        });
    };
    const auto expression = [](std::shared_ptr<RLExpr> tree) {
        // A clone of such a rule is an `ExpressionRule` by its class.
        return HostExpressionRule(std::move(tree)).Clone();
    };
    const auto node = std::make_shared<ChangingExpr>();
    const struct {
        const char* name;
        ISubscriptionRule* rule;
    } cases[] = {
        {"a class of its own", changing()},
        {"left operand of And", And(changing(), Always())},
        {"right operand of And", And(Always(), changing())},
        {"left operand of Or", Or(changing(), Always())},
        {"right operand of Or", Or(Not(Always()), changing())},
        {"left operand of Xor", Xor(changing(), Not(Always()))},
        {"right operand of Xor", Xor(Not(Always()), changing())},
        {"operand of Not", Not(Not(changing()))},
        {"derived from AlwaysRule", MakeChanging<AlwaysRule>()},
        {"derived from AndRule", MakeChanging<AndRule>()},
        {"derived from OrRule", MakeChanging<OrRule>()},
        {"derived from XorRule", MakeChanging<XorRule>()},
        {"derived from NotRule", MakeChanging<NotRule>()},
        {"derived from StreamChangeTypeRule", MakeChanging<StreamChangeTypeRule>()},
        {"derived from ExpressionRule", MakeChanging<ExpressionRule>()},
        {"node of an expression", expression(node)},
        {"operand in an expression",
         expression(std::make_shared<RLNotExpr>(std::make_shared<RLNotExpr>(node)))},
    };
    for (const auto& each : cases) {
        stream.Clear(Stream::clearSamples | Stream::clearSubscriptions);
        stream.Subscribe({each.rule, Target(0)});
        EXPECT_EQ(LogOf(1), "a-1 ") << each.name;
        EXPECT_EQ(LatestOf(stream), 1) << each.name;
    }
}

TEST_F(Notification, CarriesChangeTypeAndSender) {
    int tag = 0;
    stream.Subscribe(Logging(0, [&](const SubscriptionArgs& args) {
        log += std::to_string(args.changeType) + (args.sender == &tag ? " tagged " : " ");
    }));
    const std::string bytes = BinaryForm({BytesOf(9)});
    std::istringstream in(bytes + bytes + bytes);
    stream.PushNew(in, &tag);
    stream.PushNew(in, nullptr);
    stream.DeserializeLatest(in, &tag);
    stream.ChangeLatest([](Sample&) {}, true);
    stream.PopLatest();
    EXPECT_EQ(log, "a9 0 tagged a9 0 a9 2 tagged a9 2 a9- 1 ");
}

TEST_F(Notification, ReachesWhoWasSubscribedWhenItBegan) {
    stream.Subscribe(Logging(0, [&](const SubscriptionArgs&) {
        stream.Unsubscribe(Logging(0));
        stream.Unsubscribe(Logging(1));
        // More than the list has room for, so that it moves.
        for (int i = 2; i < 10; ++i) {
            stream.Subscribe(Logging(i % 3));
        }
        stream.Unsubscribe(Logging(2));
    }));
    stream.Subscribe(Logging(1));
    EXPECT_EQ(LogOf(1), "a1 b1 ");
    EXPECT_EQ(LogOf(2), "a2 b2 a2 b2 a2 ");
}

TEST_F(Notification, HasAListOfItsOwnInsideAnother) {
    bool nested = false;
    stream.Subscribe(Logging(0, [&](const SubscriptionArgs&) {
        if (std::exchange(nested, true)) {
            return;
        }
        stream.Unsubscribe(Logging(1));
        stream.Subscribe(Logging(2));
        log += "( ";
        stream.PopLatest();
        log += ") ";
        stream.Unsubscribe(Logging(2));
    }));
    stream.Subscribe(Logging(1));
    EXPECT_EQ(LogOf(1), "a1 ( a1- c1- ) b1 ");
    EXPECT_EQ(LogOf(2), "a2 ");
}

TEST_F(Notification, KeepsWhatItsRuleRemoves) {
    stream.Subscribe({new TestRule([&](SubscriptionArgs&) {
                          stream.Clear(Stream::clearSubscriptions);
                          stream.Subscribe(Logging(2));
                          return true;
                      }),
                      TestDelegate(0, [&](Stream&, SubscriptionArgs&) { log += "notified "; })});
    stream.Subscribe(Logging(1));
    EXPECT_EQ(LogOf(1), "notified b1 ");
    EXPECT_EQ(TestRule::live, 0);
    EXPECT_EQ(LogOf(2), "c2 ");
}

TEST_F(SubscriberListTest, IsChangedUnderALockOfItsOwn) {
    stream.AtomicExecute([&] {
        EXPECT_TRUE(FinishesElsewhere([this] {
            stream.Subscribe(Logging(0));
            stream.Subscribe(Logging(1));
            stream.Unsubscribe(Logging(1));
        }));
    });
    EXPECT_EQ(LogOf(1), "a1 ");
    stream.AtomicExecute([&] { EXPECT_TRUE(FinishesElsewhere([this] { stream.Clear(2); })); });
    EXPECT_EQ(LogOf(2), "");
}

// Random changes of the list, between and inside notifications, beside a list of numbers.
TEST_F(SubscriberListTest, KeepsOrderThroughManyChanges) {
    Random random;
    std::vector<int> model;
    std::function<void()> onNotified;
    const auto change = [&] {
        const int target = static_cast<int>(random.Below(8));
        const unsigned choice = random.Below(40);
        if (choice == 0) {
            stream.Clear(Stream::clearSubscriptions);
            model.clear();
        } else if (choice < 15) {
            stream.Unsubscribe(Logging(target));
            std::erase(model, target);
        } else {
            stream.Subscribe(Logging(target, [&](const SubscriptionArgs&) { onNotified(); }));
            model.push_back(target);
        }
    };
    for (int round = 0; round < 2000; ++round) {
        change();
        std::string expected;
        for (const int target : model) {
            expected += static_cast<char>('a' + target) + std::to_string(round) + " ";
        }
        unsigned changes = random.Below(3);
        onNotified = [&] {
            for (; changes > 0; --changes) {
                change();
            }
        };
        ASSERT_EQ(LogOf(round), expected);
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
