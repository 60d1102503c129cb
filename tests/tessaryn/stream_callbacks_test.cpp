// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/samples.h"
#include "support/subscribers.h"
#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/stream.h"
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

using test::CountedSample;
using test::SubscriptionOf;
using test::TestDelegate;
using test::TestRule;
using test::TestType;

constexpr unsigned int all = Stream::clearSamples | Stream::clearSubscriptions;

/// What callbacks do to the stream that calls them.
class StreamCallbacks : public testing::Test {
  protected:
    void TearDown() override {
        stream.Clear(all);
        EXPECT_EQ(CountedSample::live, 0);
        EXPECT_EQ(TestRule::live, 0);
        EXPECT_EQ(TestDelegate::live, 0);
    }

    /// Pushes a number, and gives what the subscribers logged.
    std::string LogOf(int number) {
        log.clear();
        auto sample = std::make_unique<CountedSample>(&layout.type, Poco::Timestamp());
        sample->Set(0, 0, number);
        stream.PushNew(sample.release());
        return log;
    }

    /// A subscription that logs its name and the number, and then acts.
    StreamSubscription Logging(int target, std::function<void(const SubscriptionArgs&)> act = {}) {
        return SubscriptionOf(target, [this, target, act](Stream&, SubscriptionArgs& args) {
            log += static_cast<char>('a' + target) + std::to_string(args.sample->GetInt32(0, 0));
            log += args.changeType == popped ? "- " : " ";
            if (act)
                act(args);
        });
    }

    std::vector<int> Stored() const {
        std::vector<int> numbers;
        stream.GetAll([&](const std::vector<Sample*>& samples) {
            for (const Sample* sample : samples)
                numbers.push_back(sample->GetInt32(0, 0));
        });
        return numbers;
    }

    TestType layout{{"x", Int32, 1}};
    Stream stream{&layout.type, 3};
    std::string log;
};

TEST_F(StreamCallbacks, SubscribeAndUnsubscribeFromTheNextNotificationOn) {
    stream.Subscribe(Logging(0, [&](const SubscriptionArgs&) {
        stream.Unsubscribe(Logging(0));
        stream.Unsubscribe(Logging(1));
        // More than the list has room for, so that it moves.
        for (int i = 2; i < 10; ++i)
            stream.Subscribe(Logging(i % 3));
        stream.Unsubscribe(Logging(2));
    }));
    stream.Subscribe(Logging(1));
    EXPECT_EQ(LogOf(1), "a1 b1 ");
    EXPECT_EQ(LogOf(2), "a2 b2 a2 b2 a2 ");
}

TEST_F(StreamCallbacks, SeeTheListOfEachNotificationThatBeginsInsideAnother) {
    bool nested = false;
    stream.Subscribe(Logging(0, [&](const SubscriptionArgs&) {
        if (std::exchange(nested, true))
            return;
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
    EXPECT_EQ(TestRule::live, 1);
    EXPECT_EQ(LogOf(2), "c2 ");
}

TEST_F(StreamCallbacks, OfANotificationMayPushPopAndClear) {
    stream.Subscribe(Logging(0, [&](const SubscriptionArgs& args) {
        const int number = args.sample->GetInt32(0, 0);
        if (args.changeType == popped || number >= 5)
            return;
        if (number == 1) {
            stream.Clear(Stream::clearSamples);
            LogOf(5);
            log = "cleared ";
        } else if (number == 2) {
            // Round the ring, over the sample that is told of.
            for (int i = 5; i < 9; ++i)
                stream.PushNew([&](Sample& sample) { sample.Set(0, 0, i); });
        } else {
            stream.PopLatest();
        }
    }));
    stream.Subscribe(Logging(1));
    EXPECT_EQ(LogOf(1), "cleared b1 ");
    EXPECT_EQ(Stored(), std::vector<int>{5});
    EXPECT_EQ(LogOf(2), "a2 a5 b5 a6 b6 a7 b7 a8 b8 b2 ");
    EXPECT_EQ(Stored(), (std::vector<int>{6, 7, 8}));
    EXPECT_EQ(LogOf(3), "a3 a3- b3- b3 ");
    EXPECT_EQ(Stored(), (std::vector<int>{7, 8}));
}

// Reads its samples after having removed them.
TEST_F(StreamCallbacks, KeepWhatTheyHaveInHand) {
    stream.Subscribe(Logging(0));
    const auto removeAll = [&] {
        stream.PopLatest();
        for (int i = 0; i < 5; ++i)
            stream.PushNew([](Sample& sample) { sample.Set(0, 0, 7); });
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

/// Counts the calls of a host's code, and lets one of them fail.
struct Steps {
    struct Failure {};

    void Take() {
        if (taken++ == failing)
            throw Failure();
    }

    int failing = -1;
    int taken = 0;
};

class SteppingRule : public TestRule {
  public:
    SteppingRule(Steps& counted, Function decide) : TestRule(std::move(decide)), steps(counted) {}
    ISubscriptionRule* Clone() const override {
        steps.Take();
        return new SteppingRule(*this);
    }

  private:
    Steps& steps;
};

class SteppingDelegate : public TestDelegate {
  public:
    SteppingDelegate(Steps& counted, int number, Function notified)
        : TestDelegate(number, std::move(notified)), steps(counted) {}
    bool equals(const AbstractDelegate& other) const override {
        steps.Take();
        return TestDelegate::equals(other);
    }
    AbstractDelegate* clone() const override {
        steps.Take();
        return new SteppingDelegate(*this);
    }

  private:
    Steps& steps;
};

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
    Bytes bytes(test::BinaryForm({test::BytesOf(4)}), [&] { stream.Clear(Stream::clearSamples); });
    std::istream in(&bytes);
    stream.PushNew(in, nullptr);
    EXPECT_EQ(log, "a4 ");
    EXPECT_TRUE(stream.IsEmpty());
}

// Every call of the host's code fails once. What comes after is as if nothing had been.
TEST_F(StreamCallbacks, MayFailAtEveryStep) {
    Steps steps;
    const auto subscription = [&](int target) {
        const auto rule = [&](SubscriptionArgs&) {
            steps.Take();
            return true;
        };
        const auto notified = [&, target](Stream&, SubscriptionArgs& args) {
            log += std::to_string(target) + std::to_string(args.changeType) + ' ';
            steps.Take();
            if (target == 1 && args.changeType == changed) {
                stream.Unsubscribe({Always(), SteppingDelegate(steps, 1, {})});
                stream.PopLatest();
            }
        };
        const SteppingRule steppingRule(steps, rule);
        return StreamSubscription(steppingRule, SteppingDelegate(steps, target, notified));
    };
    const auto use = [&](auto&&...) { steps.Take(); };
    const auto live = [&] {
        stream.Subscribe(subscription(0));
        stream.Subscribe(subscription(1));
        stream.PushNew(use);
        stream.ChangeLatest(use, true);
        Bytes bytes(test::BinaryForm({test::BytesOf(4)}), use);
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
    const int count = std::exchange(steps.taken, 0);
    EXPECT_GT(count, 30);
    for (steps.failing = 0; steps.failing < count; ++steps.failing) {
        SCOPED_TRACE(steps.failing);
        stream.Clear(all);
        steps.taken = 0;
        EXPECT_THROW(live(), Steps::Failure);
        EXPECT_EQ(whole.rfind(log, 0), 0U) << log;
        stream.Clear(all);
        EXPECT_EQ(TestRule::live + TestDelegate::live, 0);
        log.clear();
        live();
        EXPECT_EQ(log, whole);
        log.clear();
    }
    EXPECT_TRUE(test::LocksAreFree(stream));
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

/// A host's node, which changes what it is asked about.
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
    EXPECT_EQ(Stored(), std::vector<int>{1});
}

}  // namespace
}  // namespace velmora::core::tessaryn
