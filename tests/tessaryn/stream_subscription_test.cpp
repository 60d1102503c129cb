// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/samples.h"
#include "support/subscribers.h"
#include "support/thrown.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <utility>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

TestDelegate Target(int target) {
    return {target, [](Stream&, SubscriptionArgs&) {}};
}

TEST(StreamSubscription, OwnsRuleAndDelegate) {
    auto* const rule = new TestRule([](SubscriptionArgs&) { return true; });
    {
        StreamSubscription one(rule, Target(0));
        EXPECT_EQ(one.GetRule(), rule);
        const StreamSubscription copy(one);
        EXPECT_NE(copy.GetRule(), rule);
        StreamSubscription other(*rule, Target(1));
        EXPECT_TRUE(one == copy && !(one == other));
        StreamSubscription moved(std::move(one));
        EXPECT_EQ(moved.GetRule(), rule);
        other = moved;
        EXPECT_TRUE(other == copy);
        one = std::move(moved);
        EXPECT_EQ(one.GetRule(), rule);
        EXPECT_EQ(TestRule::live + TestDelegate::live, 3 + 3);
    }
    EXPECT_EQ(TestRule::live + TestDelegate::live, 0);
}

TEST(StreamSubscription, NotifiesIfTheRuleApplies) {
    TestType layout{{"x", Int32, 1}};
    Sample sample(&layout.type, Poco::Timestamp());
    SubscriptionArgs args{pushed, &sample, nullptr};
    Stream stream(&layout.type, 1);
    int calls = 0;
    const TestDelegate target(0, [&](Stream& sender, SubscriptionArgs& given) {
        calls += &sender == &stream && &given == &args ? 1 : 100;
    });
    StreamSubscription(HasStreamChangeType(pushed), target).NotifyIfRuleApplies(&stream, args);
    StreamSubscription(HasStreamChangeType(popped), target).NotifyIfRuleApplies(&stream, args);
    EXPECT_EQ(calls, 1);
}

TEST(StreamSubscription, WithoutRuleIsAKey) {
    TestType layout{{"x", Int32, 1}};
    Stream stream(&layout.type, 1);
    const StreamSubscription key(nullptr, Target(0));
    const StreamSubscription copy(key);
    EXPECT_TRUE(key.GetRule() == nullptr && copy.GetRule() == nullptr && copy == key);
    stream.Subscribe({Always(), Target(0)});
    stream.Subscribe({Always(), Target(1)});
    stream.Unsubscribe(key);
    EXPECT_EQ(TestDelegate::live, 3);
    StreamSubscription source(Always(), Target(0));
    const StreamSubscription taken(std::move(source));
    for (const StreamSubscription* incomplete : {&key, &std::as_const(source)}) {
        EXPECT_EQ(MessageOf<std::invalid_argument>([&] { stream.Subscribe(*incomplete); }),
                  "A subscription without rule or delegate cannot be notified.");
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
