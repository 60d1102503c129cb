// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/allocation_probe.h"
#include "support/logged_stream.h"
#include "support/random.h"
#include "support/rules.h"
#include "tessaryn/private/subscription_rule_expressions.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

using velmora::test::AllocationProbe;

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
    // This one is asked before there is a copy.
    stream.Subscribe({Expression("x == 7"), Target(5)});
    stream.Subscribe(
        {And(Always(), Not(Or(Xor(Always(), Always()), new TestRule(change)))), Target(0)});
    stream.Subscribe(Logging(1, change));
    stream.Subscribe({Rule('C'), Target(2)});
    stream.Subscribe({Expression("x == 27"), Target(3)});
    stream.Subscribe({Expression("x == 7"), Target(4)});
    stream.PushNew([](Sample& sample) { sample.Set(0, 0, 7); });
    EXPECT_EQ(log, "f7 a17 b17 C27 c27 d27 ");
    EXPECT_EQ(LatestOf(stream), 7);
}

TEST_F(Notification, SurvivesADelegateThatMovesTheSampleAway) {
    const auto take = [](Stream&, SubscriptionArgs& args) {
        const Sample taken = std::move(*args.sample);
    };
    stream.Subscribe({Expression("x == 1"), TestDelegate(0, take)});
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
        log.clear();
        stream.PushNew([](Sample& sample) { sample.Set(0, 0, 1); });
        EXPECT_EQ(log, "a-1 ") << each.name;
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

TEST_F(SubscriberListTest, ComparesEachStoredDelegateOnceAndNeedsNoMemory) {
    constexpr int count = 300;
    std::vector<StreamSubscription> keys;
    for (int target = 0; target < count; ++target) {
        stream.Subscribe(Logging(target));
        keys.push_back(Logging(target));
    }
    int comparisons = 0;
    onHostCall = [&] { ++comparisons; };
    const AllocationProbe probe;
    for (const StreamSubscription& key : keys) {
        stream.Unsubscribe(key);
    }
    EXPECT_EQ(AllocationProbe::Count(), 0);
    EXPECT_EQ(comparisons, count * (count + 1) / 2);
}

TEST_F(SubscriberListTest, NeedsNoMoreRoomTheMoreOftenItChanges) {
    const StreamSubscription subscription = Logging(0);
    const auto allocations = [&] {
        const AllocationProbe probe;
        for (int round = 0; round < 1000; ++round) {
            stream.Subscribe(subscription);
            stream.Unsubscribe(subscription);
        }
        return AllocationProbe::Count();
    };
    allocations();
    // As many each round, and none for a list that grows.
    EXPECT_EQ(allocations() % 1000, 0);
}

TEST_F(SubscriberListTest, KeepsTheRestWhenAComparisonChangesIt) {
    const StreamSubscription key = Logging(1);
    const StreamSubscription other = Logging(0);
    const struct {
        const char* name;
        std::vector<int> order;
        int comparison;
        std::function<void()> act;
        const char* expected;
    } cases[] = {
        {"an earlier one goes", {0, 1, 2}, 1, [&] { stream.Unsubscribe(other); }, "c1 "},
        {"the compared one is last", {0, 2, 1}, 2, [&] { stream.Unsubscribe(other); }, "c1 "},
        {"a later one goes", {1, 0, 2}, 0, [&] { stream.Unsubscribe(other); }, "c1 "},
        {"the compared one goes", {0, 1, 2}, 1, [&] { stream.Unsubscribe(key); }, "a1 c1 "},
        {"all go", {0, 1, 2}, 1, [&] { stream.Clear(2); }, ""},
        {"an equal one comes", {0, 1, 2}, 0, [&] { stream.Subscribe(key); }, "a1 c1 b1 "},
        {"it throws", {1, 2, 1}, 1, [] { throw std::runtime_error("compared"); }, "c1 b1 "},
    };
    for (const auto& each : cases) {
        stream.Clear(Stream::clearSubscriptions);
        for (const int target : each.order) {
            stream.Subscribe(Logging(target));
        }
        int comparison = 0;
        onHostCall = [&] {
            if (comparison++ == each.comparison) {
                each.act();
            }
        };
        OutcomeOf([&] {
            stream.Unsubscribe(key);
            return true;
        });
        onHostCall = [] {};
        EXPECT_EQ(LogOf(1), each.expected) << each.name;
        EXPECT_TRUE(LocksAreFree(stream)) << each.name;
    }
}

TEST_F(SubscriberListTest, ClonesWithoutItsLock) {
    bool checked = false;
    const StreamSubscription subscription = Logging(0);
    onHostCall = [&] {
        if (!std::exchange(checked, true)) {
            EXPECT_TRUE(LocksAreFree(stream));
        }
    };
    stream.Subscribe(subscription);
    EXPECT_TRUE(checked);
}

// Acts when the last copy of it goes, as a subscriber does that its delegate alone keeps alive.
std::shared_ptr<void> AtItsEnd(std::function<void()> act) {
    return {nullptr, [act](void*) { act(); }};
}

TEST_F(SubscriberListTest, DestroysWithoutItsLock) {
    const struct {
        const char* name;
        std::function<void(SubscriptionArgs&)> notified;
        std::function<void()> end;
    } cases[] = {
        {"Unsubscribe", {}, [&] { stream.Unsubscribe(Logging(0)); }},
        {"Clear", {}, [&] { stream.Clear(Stream::clearSubscriptions); }},
        {"Unsubscribe in a notification",
         [&](SubscriptionArgs&) { stream.Unsubscribe(Logging(0)); }, [&] { LogOf(1); }},
    };
    for (const auto& each : cases) {
        bool checked = false;
        stream.Subscribe(
            Logging(0, [notified = each.notified, owned = AtItsEnd([&] {
                                                      checked = true;
                                                      // Takes the lock of the subscriptions.
                                                      EXPECT_TRUE(FinishesElsewhere(
                                                          [&] { stream.Unsubscribe(Logging(9)); }));
                                                  })](SubscriptionArgs& args) {
                if (notified) {
                    notified(args);
                }
            }));
        EXPECT_FALSE(checked) << each.name;
        each.end();
        EXPECT_TRUE(checked) << each.name;
    }
}

// A delegate and a rule that log their ends.
TEST_F(SubscriberListTest, DestroysInOrderOfSubscribingDelegateBeforeRule) {
    const auto subscribe = [&](const std::string& name) {
        const auto logged = [&](const std::string& what) {
            return AtItsEnd([this, name, what] { log += what + name + " "; });
        };
        stream.Subscribe(
            {new TestRule([end = logged("rule")](SubscriptionArgs&) { return true; }),
             TestDelegate(0, [end = logged("delegate")](Stream&, SubscriptionArgs&) {})});
    };
    const std::string expected = "delegate1 rule1 delegate2 rule2 ";
    for (const bool inNotification : {false, true}) {
        subscribe("1");
        subscribe("2");
        log.clear();
        if (inNotification) {
            stream.Subscribe(Logging(1, [&](const SubscriptionArgs&) { stream.Clear(2); }));
            EXPECT_EQ(LogOf(5), "b5 " + expected);
        } else {
            stream.Unsubscribe(Logging(0));
            EXPECT_EQ(log, expected);
        }
    }
}

TEST_F(SubscriberListTest, KeepsNothingBehindWhenADestructorChangesIt) {
    const struct {
        const char* name;
        std::function<void()> act;
        int expected;
    } cases[] = {
        {"subscribes", [&] { stream.Subscribe(Logging(5)); }, 3},
        {"unsubscribes what stays", [&] { stream.Unsubscribe(Logging(1)); }, 0},
        {"clears", [&] { stream.Clear(Stream::clearSubscriptions); }, 0},
        {"pushes", [&] { LogOf(1); }, 1},
    };
    for (const auto& each : cases) {
        stream.Clear(Stream::clearSubscriptions);
        bool armed = false;
        for (int i = 0; i < 2; ++i) {
            stream.Subscribe(Logging(0, [owned = AtItsEnd([&] {
                                             if (armed) {
                                                 each.act();
                                             }
                                         })](const SubscriptionArgs&) {}));
        }
        stream.Subscribe(Logging(1));
        armed = true;
        stream.Unsubscribe(Logging(0));
        armed = false;
        EXPECT_EQ(TestDelegate::live, each.expected) << each.name;
    }
}

// What the delegates count is guarded by the lock of the subscriptions, and by nothing else.
TEST_F(SubscriberListTest, IsSharedByThreads) {
    constexpr int rounds = 400;
    int steady = 0;
    stream.Subscribe(SubscriptionOf(0, [&](Stream&, SubscriptionArgs&) { ++steady; }));
    Stream cleared(&layout.type, 3);
    std::map<const Stream*, int> others = {{&stream, 0}, {&cleared, 0}};
    const auto changing = [&](Stream& changed, int target) {
        return [&, target, &calls = others.at(&changed)] {
            for (int round = 0; round < rounds; ++round) {
                const auto subscription =
                    SubscriptionOf(target, [&calls](Stream&, SubscriptionArgs&) { ++calls; });
                changed.Subscribe(subscription);
                changed.Subscribe({Expression("x >= 0"), TestDelegate(9, [](auto&&...) {})});
                changed.Unsubscribe(subscription);
            }
        };
    };
    const auto pushing = [&](Stream& pushed) {
        return [&] {
            for (int round = 0; round < rounds; ++round) {
                pushed.PushNew([](Sample&) {});
            }
        };
    };
    const auto clearing = [&] {
        for (int round = 0; round < rounds; ++round) {
            cleared.Clear(Stream::clearSubscriptions);
        }
    };
    std::vector<std::thread> threads;
    threads.emplace_back(changing(stream, 1));
    threads.emplace_back(changing(stream, 2));
    threads.emplace_back(pushing(stream));
    threads.emplace_back(pushing(stream));
    threads.emplace_back(changing(cleared, 1));
    threads.emplace_back(pushing(cleared));
    threads.emplace_back(clearing);
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(steady, 2 * rounds);
    stream.Unsubscribe(Logging(9));
    cleared.Clear(Stream::clearSubscriptions);
    EXPECT_EQ(TestDelegate::live, 1);
}

}  // namespace
}  // namespace velmora::core::tessaryn
