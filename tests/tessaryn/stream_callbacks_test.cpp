// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/ring_model.h"
#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

constexpr unsigned int all = Stream::clearSamples | Stream::clearSubscriptions;

// What subscribers are told, and what callbacks do to the stream that calls them.
class StreamCallbacks : public testing::Test {
  protected:
    void TearDown() override {
        onHostCall = [] {};
        stream.Clear(all);
        EXPECT_EQ(CountedSample::live + TestRule::live + TestDelegate::live, 0);
    }

    // Pushes a number, and gives what the subscribers logged.
    std::string LogOf(int number) {
        log.clear();
        auto sample = std::make_unique<CountedSample>(&layout.type, Poco::Timestamp());
        sample->Set(0, 0, number);
        stream.PushNew(sample.release());
        return log;
    }

    void Log(char name, const SubscriptionArgs& args) {
        log += name + std::to_string(args.sample->GetInt32(0, 0));
        log += args.changeType == popped ? "- " : " ";
    }

    // A rule that logs its name and the number, and applies, or not.
    TestRule* Rule(char name, bool applies = true) {
        return new TestRule([this, name, applies](SubscriptionArgs& args) {
            Log(name, args);
            return applies;
        });
    }

    // A delegate that logs its name and the number, and then acts.
    TestDelegate Target(int target, std::function<void(SubscriptionArgs&)> act = {}) {
        return {target, [this, target, act](Stream& sender, SubscriptionArgs& args) {
                    EXPECT_EQ(&sender, &stream);
                    Log(static_cast<char>('a' + target), args);
                    if (act) {
                        act(args);
                    }
                }};
    }

    StreamSubscription Logging(int target, std::function<void(SubscriptionArgs&)> act = {}) {
        return {Always(), Target(target, std::move(act))};
    }

    TestType layout{{"x", Int32, 1}};
    Stream stream{&layout.type, 3};
    std::string log;
};

TEST_F(StreamCallbacks, AskEachRuleBeforeItsDelegateInOrderOfSubscribing) {
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

TEST_F(StreamCallbacks, ShareOneCopyWhoseChangesLaterSubscriptionsSee) {
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

TEST_F(StreamCallbacks, AreToldChangeTypeAndSender) {
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

TEST_F(StreamCallbacks, AreSubscribedUnderALockOfTheirOwn) {
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

TEST_F(StreamCallbacks, BelongToTheirSubscription) {
    auto* const rule = Rule('A');
    StreamSubscription one(rule, Target(0));
    const StreamSubscription copy(one);
    EXPECT_NE(copy.GetRule(), rule);
    StreamSubscription other(TestRule([](SubscriptionArgs&) { return true; }), Target(1));
    EXPECT_TRUE(one == copy && !(one == other));
    StreamSubscription moved(std::move(one));
    EXPECT_EQ(moved.GetRule(), rule);
    other = moved;
    EXPECT_TRUE(other == copy);
    one = std::move(moved);
    EXPECT_EQ(TestRule::live + TestDelegate::live, 3 + 3);
    Sample sample(&layout.type, Poco::Timestamp());
    SubscriptionArgs args{pushed, &sample, nullptr};
    one.NotifyIfRuleApplies(&stream, args);
    StreamSubscription(Rule('B', false), Target(1)).NotifyIfRuleApplies(&stream, args);
    EXPECT_EQ(log, "A0 a0 B0 ");
}

TEST_F(StreamCallbacks, ThatThrowLeaveWhatWasDone) {
    struct Trouble {};
    const auto fails = [](auto&&...) { throw Trouble(); };
    const auto passes = [](auto&&...) {};
    std::istringstream in;
    const struct {
        std::function<void()> operation;
        std::vector<int> stored;
        std::string told;
    } cases[] = {{[&] { stream.PushNew(fails); }, {1, 2, 0}, ""},
                 {[&] { stream.PushNew(in, nullptr); }, {1, 2, 0}, ""},
                 {[&] { stream.DeserializeLatest(in, nullptr); }, {1, 2}, ""},
                 {[&] { stream.ChangeLatest(fails, true); }, {1, 2}, ""},
                 {[&] { stream.PushNew(passes); }, {1, 2, 0}, "a0 "},
                 {[&] { stream.PopLatest(); }, {1}, "a2- "},
                 {[&] { stream.ChangeLatest(passes, true); }, {1, 2}, "a2 "}};
    for (const auto& each : cases) {
        in = std::istringstream(std::string(9, '\1'));
        in.exceptions(std::ios::failbit);
        stream.Clear(all);
        LogOf(1);
        LogOf(2);
        stream.Subscribe(Logging(0, fails));
        EXPECT_ANY_THROW(each.operation());
        EXPECT_EQ(AllOf(stream), each.stored);
        EXPECT_EQ(log, each.told);
    }
}

TEST_F(StreamCallbacks, SubscribeAndUnsubscribeFromTheNextNotificationOn) {
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

TEST_F(StreamCallbacks, SeeTheListOfEachNotificationThatBeginsInsideAnother) {
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

TEST_F(StreamCallbacks, MayClearAllSubscriptionsTheirOwnRuleIncluded) {
    stream.Subscribe({new TestRule([&](SubscriptionArgs&) {
                          stream.Clear(Stream::clearSubscriptions);
                          stream.Subscribe(Logging(2));
                          return true;
                      }),
                      TestDelegate(0, [&](Stream&, SubscriptionArgs&) { log += "told "; })});
    stream.Subscribe(Logging(1));
    EXPECT_EQ(LogOf(1), "told b1 ");
    EXPECT_EQ(TestRule::live, 0);
    EXPECT_EQ(LogOf(2), "c2 ");
}

TEST_F(StreamCallbacks, OfANotificationMayPushPopAndClear) {
    stream.Subscribe(Logging(0, [&](const SubscriptionArgs& args) {
        const int number = args.sample->GetInt32(0, 0);
        if (args.changeType == popped || number >= 5) {
            return;
        }
        if (number == 1) {
            stream.Clear(Stream::clearSamples);
            LogOf(5);
            log = "cleared ";
        } else if (number == 2) {
            // Round the ring, over the sample that is told of.
            for (int i = 5; i < 9; ++i) {
                stream.PushNew([&](Sample& sample) { sample.Set(0, 0, i); });
            }
        } else {
            stream.PopLatest();
        }
    }));
    stream.Subscribe(Logging(1));
    EXPECT_EQ(LogOf(1), "cleared b1 ");
    EXPECT_EQ(AllOf(stream), std::vector<int>{5});
    EXPECT_EQ(LogOf(2), "a2 a5 b5 a6 b6 a7 b7 a8 b8 b2 ");
    EXPECT_EQ(AllOf(stream), (std::vector<int>{6, 7, 8}));
    EXPECT_EQ(LogOf(3), "a3 a3- b3- b3 ");
    EXPECT_EQ(AllOf(stream), (std::vector<int>{7, 8}));
}

// Reads its samples after having removed them.
TEST_F(StreamCallbacks, KeepWhatTheyHaveInHand) {
    stream.Subscribe(Logging(0));
    const auto removeAll = [&] {
        stream.PopLatest();
        for (int i = 0; i < 5; ++i) {
            stream.PushNew([](Sample& sample) { sample.Set(0, 0, 7); });
        }
        stream.Clear(Stream::clearSamples);
        log.clear();
    };
    const auto use = [&](Sample& sample) {
        removeAll();
        sample.Set(0, 0, sample.GetInt32(0, 0) + 40);
    };
    const auto push = [&] { return LogOf(2); };
    stream.PushNew(use);
    EXPECT_EQ(log, "a40 ");
    push();
    stream.ChangeLatest(use, true);
    EXPECT_EQ(log, "a42 ");
    EXPECT_EQ(CountedSample::live, 0);
    push();
    stream.GetLatest([&](const Sample& latest) {
        stream.GetAll([&](const std::vector<Sample*>& samples) { use(*samples.front()); });
        EXPECT_EQ(latest.GetInt32(0, 0), 42);
        EXPECT_EQ(CountedSample::live, 1);
    });
    EXPECT_EQ(CountedSample::live, 0);
    EXPECT_TRUE(stream.IsEmpty());
}

class Bytes : public std::stringbuf {
  public:
    Bytes(const std::string& bytes, std::function<void()> action)
        : std::stringbuf(bytes), act(std::move(action)) {}

  protected:
    std::streamsize xsgetn(char* to, std::streamsize count) override {
        act();
        return std::stringbuf::xsgetn(to, count);
    }

  private:
    std::function<void()> act;
};

TEST_F(StreamCallbacks, OfAnInputMayClear) {
    stream.Subscribe(Logging(0));
    Bytes bytes(BinaryForm({BytesOf(4)}), [&] { stream.Clear(Stream::clearSamples); });
    std::istream in(&bytes);
    stream.PushNew(in, nullptr);
    EXPECT_EQ(log, "a4 ");
    EXPECT_TRUE(stream.IsEmpty());
}

// Every call of the host's code fails once. What comes after is as if nothing had been.
TEST_F(StreamCallbacks, MayFailAtEveryStep) {
    struct Failure {};
    int taken = 0;
    int failing = -1;
    const auto use = [&](auto&&...) {
        if (taken++ == failing) {
            throw Failure();
        }
    };
    onHostCall = use;
    const auto subscription = [&](int target) {
        const TestRule lent([&](SubscriptionArgs&) {
            use();
            return true;
        });
        const TestDelegate delegate = Target(target, [&, target](const SubscriptionArgs& args) {
            use();
            if (target == 1 && args.changeType == changed) {
                stream.Unsubscribe(Logging(1));
                stream.PopLatest();
            }
        });
        return target == 0 ? StreamSubscription(lent, delegate)
                           : StreamSubscription(new TestRule(lent), delegate);
    };
    const auto live = [&] {
        stream.Subscribe(subscription(0));
        stream.Subscribe(subscription(1));
        stream.PushNew(use);
        stream.ChangeLatest(use, true);
        Bytes bytes(BinaryForm({BytesOf(4)}), use);
        std::istream in(&bytes);
        in.exceptions(std::ios::badbit);
        stream.PushNew(in, nullptr);
        stream.DeserializeLatest(in, nullptr);
        stream.GetLatest(use);
        stream.GetAll(use);
        stream.AtomicExecute(use);
        stream.Unsubscribe(subscription(0));
        stream.PopLatest();
        stream.PopLatest();
    };
    live();
    const std::string whole = std::exchange(log, "");
    const int count = std::exchange(taken, 0);
    EXPECT_GT(count, 30);
    for (failing = 0; failing < count; ++failing) {
        SCOPED_TRACE(failing);
        stream.Clear(all);
        taken = 0;
        EXPECT_THROW(live(), Failure);
        EXPECT_EQ(whole.rfind(log, 0), 0U) << log;
        stream.Clear(all);
        EXPECT_EQ(TestRule::live + TestDelegate::live, 0);
        log.clear();
        live();
        EXPECT_EQ(log, whole);
        log.clear();
    }
    EXPECT_TRUE(LocksAreFree(stream));
}

TEST_F(StreamCallbacks, MayMoveTheSampleThatLaterRulesAreAskedFor) {
    stream.Subscribe(SubscriptionOf(
        0, [](Stream&, SubscriptionArgs& args) { const Sample taken = std::move(*args.sample); }));
    for (const char* rule : {"x == 1", "x", "x[0] != 1", "x.exists", "x.size >= 0", "!x.front"}) {
        stream.Subscribe({Expression(rule),
                          TestDelegate(1, [&](Stream&, SubscriptionArgs&) { log += "told "; })});
    }
    EXPECT_THROW(LogOf(1), Poco::InvalidAccessException);
    EXPECT_EQ(log, "");
}

// A host's node, which changes what it is asked about.
class Vandal : public RLExpr {
  public:
    TypedValue evaluate(const SubscriptionArgs& args) const override {
        args.sample->Set(0, 0, -1);
        return TypedValue(true);
    }
    void dump(std::ostream&, int) const override {}
};

class HostRule : public ExpressionRule {
  public:
    using ExpressionRule::ExpressionRule;
    explicit HostRule(std::shared_ptr<RLExpr> tree) : ExpressionRule(std::move(tree)) {}
};

// A clone of such a rule is an expression by its class.
TEST_F(StreamCallbacks, OfAHostInsideATreeGetTheCopy) {
    const auto isOurs = std::make_shared<RLNotExpr>(std::make_shared<Vandal>());
    const std::unique_ptr<ISubscriptionRule> rule(HostRule(isOurs).Clone());
    stream.Subscribe({*rule, TestDelegate(0, [](Stream&, SubscriptionArgs&) {})});
    LogOf(1);
    EXPECT_EQ(AllOf(stream), std::vector<int>{1});
}

}  // namespace
}  // namespace velmora::core::tessaryn
