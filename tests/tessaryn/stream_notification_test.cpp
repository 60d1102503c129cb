// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/samples.h"
#include "support/subscribers.h"
#include "tessaryn/stream.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <sstream>
#include <string>
#include <utility>

namespace velmora::core::tessaryn {
namespace {

using test::FinishesElsewhere;
using test::SubscriptionOf;
using test::TestDelegate;
using test::TestRule;
using test::TestType;

class StreamNotification : public testing::Test {
  protected:
    void TearDown() override {
        stream.Clear(2);
        EXPECT_EQ(TestRule::live, 0);
        EXPECT_EQ(TestDelegate::live, 0);
    }

    void Log(const std::string& name, const SubscriptionArgs& args) {
        log += name + std::to_string(args.sample->GetInt32(0, 0)) + ' ';
    }

    /// A rule that writes its name into the log and applies, or not.
    TestRule* Rule(const std::string& name, bool applies = true) {
        return new TestRule([this, name, applies](SubscriptionArgs& args) {
            Log(name, args);
            return applies;
        });
    }

    /// A delegate that writes its name into the log.
    TestDelegate Target(const std::string& name, int target) {
        return {target, [this, name](Stream& sender, SubscriptionArgs& args) {
                    EXPECT_EQ(&sender, &stream);
                    Log(name, args);
                }};
    }

    /// What is logged when a number is pushed and then, untold, stored.
    std::string LogOfPush(int number) {
        log.clear();
        stream.PushNew([&](Sample& sample) { sample.Set(0, 0, number); });
        stream.GetLatest([&](const Sample& sample) { stored = sample.GetInt32(0, 0); });
        return log;
    }

    TestType layout{{"x", Int32, 1}};
    Stream stream{&layout.type, 5};
    std::string log;
    int stored = 0;
};

TEST_F(StreamNotification, AsksEachRuleBeforeItsDelegateInOrderOfSubscribing) {
    stream.Subscribe({Rule("a"), Target("A", 1)});
    stream.Subscribe({Rule("b", false), Target("B", 2)});
    stream.Subscribe({Rule("c"), Target("C", 3)});
    stream.Subscribe({Rule("d"), Target("D", 1)});
    EXPECT_EQ(LogOfPush(2), "a2 A2 b2 c2 C2 d2 D2 ");
    // One target, whatever its rules; the others keep their order.
    stream.Unsubscribe({Rule("z"), Target("Z", 1)});
    stream.Unsubscribe({Rule("z"), Target("Z", 99)});
    stream.Clear(1 + 8);
    EXPECT_EQ(LogOfPush(3), "b3 c3 C3 ");
    stream.Clear(2);
    EXPECT_EQ(LogOfPush(4), "");
    EXPECT_EQ(stored, 4);
}

TEST_F(StreamNotification, SharesOneCopyWhoseChangesLaterSubscriptionsSee) {
    const auto change = [](SubscriptionArgs& args) {
        args.sample->Set(0, 0, args.sample->GetInt32(0, 0) + 10);
        return false;
    };
    stream.Subscribe(
        {And(Always(), Not(Or(Xor(Always(), Always()), new TestRule(change)))), Target("A", 1)});
    stream.Subscribe(SubscriptionOf(2, [&](Stream&, SubscriptionArgs& args) { change(args); }));
    stream.Subscribe({Rule("b"), Target("B", 3)});
    stream.Subscribe({Expression("x == 27"), Target("C", 4)});
    stream.Subscribe({Expression("x == 7"), Target("D", 5)});
    EXPECT_EQ(LogOfPush(7), "A17 b27 B27 C27 ");
    EXPECT_EQ(stored, 7);
}

TEST_F(StreamNotification, HasACopyOfItsOwnInsideAnother) {
    stream.Subscribe(SubscriptionOf(1, [&](Stream& sender, SubscriptionArgs& args) {
        const int number = args.sample->GetInt32(0, 0);
        if (number < 3)
            sender.PushNew([&](Sample& sample) { sample.Set(0, 0, number + 1); });
        EXPECT_EQ(args.sample->GetInt32(0, 0), number);
        args.sample->Set(0, 0, number + 100);
    }));
    stream.Subscribe({Always(), Target("A", 2)});
    EXPECT_EQ(LogOfPush(1), "A103 A102 A101 ");
    EXPECT_EQ(stored, 3);
}

TEST_F(StreamNotification, TellsChangeTypeAndSender) {
    int tag = 0;
    stream.Subscribe(SubscriptionOf(1, [&](Stream&, SubscriptionArgs& args) {
        const char* const names[] = {"push ", "pop ", "change "};
        Log(args.sender == &tag ? "tagged " : "untagged ", args);
        log += names[args.changeType];
    }));
    std::istringstream in(test::BinaryForm({test::BytesOf(9)}) +
                          test::BinaryForm({test::BytesOf(8)}) +
                          test::BinaryForm({test::BytesOf(7)}));
    stream.PushNew(in, &tag);
    stream.PushNew(in, nullptr);
    stream.DeserializeLatest(in, &tag);
    stream.ChangeLatest([](Sample&) {}, true);
    stream.ChangeLatest([](Sample&) {}, false);
    stream.PopLatest();
    stream.Clear(1);
    stream.PopLatest();
    EXPECT_EQ(log,
              "tagged 9 push untagged 8 push tagged 7 change untagged 7 change untagged 7 pop ");
}

TEST_F(StreamNotification, NeedsOnlyItsOwnLockForSubscribing) {
    stream.AtomicExecute([&] {
        EXPECT_TRUE(FinishesElsewhere([this] {
            stream.Subscribe({Always(), Target("A", 1)});
            stream.Subscribe({Always(), Target("B", 2)});
            stream.Unsubscribe({Always(), Target("B", 2)});
        }));
    });
    EXPECT_EQ(LogOfPush(1), "A1 ");
    stream.AtomicExecute([&] { EXPECT_TRUE(FinishesElsewhere([this] { stream.Clear(2); })); });
    EXPECT_EQ(LogOfPush(2), "");
}

TEST_F(StreamNotification, SubscriptionsOwnRuleAndDelegate) {
    auto* const rule = Rule("a");
    StreamSubscription one(rule, Target("A", 1));
    const StreamSubscription copy(one);
    EXPECT_NE(copy.GetRule(), rule);
    const TestRule lent([](SubscriptionArgs&) { return true; });
    StreamSubscription other(lent, Target("B", 2));
    EXPECT_TRUE(one == copy);
    EXPECT_FALSE(one == other);
    StreamSubscription moved(std::move(one));
    EXPECT_EQ(moved.GetRule(), rule);
    other = moved;
    EXPECT_TRUE(other == copy);
    one = std::move(moved);
    EXPECT_EQ(TestRule::live, 4);
    EXPECT_EQ(TestDelegate::live, 3);

    stream.Subscribe(one);
    TestDelegate::cloningFails = true;
    EXPECT_THROW(StreamSubscription(Rule("b"), Target("B", 2)), std::bad_alloc);
    EXPECT_THROW(StreamSubscription(lent, Target("B", 2)), std::bad_alloc);
    EXPECT_THROW(stream.Subscribe(one), std::bad_alloc);
    TestDelegate::cloningFails = false;
    EXPECT_EQ(TestRule::live, 5);
    EXPECT_EQ(LogOfPush(1), "a1 A1 ");
}

}  // namespace
}  // namespace velmora::core::tessaryn
