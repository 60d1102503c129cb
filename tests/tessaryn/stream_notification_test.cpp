// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/allocation_probe.h"
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
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using Poco::Timestamp;
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

    int Stored() const {
        int number = 0;
        stream.GetLatest([&](const Sample& sample) { number = sample.GetInt32(0, 0); });
        return number;
    }

    void Push(int number) {
        stream.PushNew([&](Sample& sample) { sample.Set(0, 0, number); });
    }

    /// A rule that writes its name into the log and applies, or not.
    TestRule* Rule(const std::string& name, bool applies = true) {
        return new TestRule([this, name, applies](SubscriptionArgs& args) {
            log += name + std::to_string(args.sample->GetInt32(0, 0)) + ' ';
            return applies;
        });
    }

    /// A delegate that writes its name into the log.
    TestDelegate Target(const std::string& name, int target) {
        return {target, [this, name](Stream& sender, SubscriptionArgs& args) {
                    EXPECT_EQ(&sender, &stream);
                    log += name + std::to_string(args.sample->GetInt32(0, 0)) + ' ';
                }};
    }

    TestType layout{{"x", Int32, 1}};
    Stream stream{&layout.type, 5};
    std::string log;
};

TEST_F(StreamNotification, AsksEachRuleBeforeItsDelegateInOrderOfSubscribing) {
    stream.Subscribe({Rule("a"), Target("A", 1)});
    stream.Subscribe({Rule("b", false), Target("B", 2)});
    stream.Subscribe({Rule("c"), Target("C", 3)});
    Push(1);
    EXPECT_EQ(log, "a1 A1 b1 c1 C1 ");
    stream.Subscribe({Rule("d"), Target("A", 1)});
    stream.Subscribe({Rule("e"), Target("E", 5)});
    log.clear();
    Push(2);
    EXPECT_EQ(log, "a2 A2 b2 c2 C2 d2 A2 e2 E2 ");
    // One target, whatever its rules; the others keep their order.
    stream.Unsubscribe({Rule("z"), Target("Z", 1)});
    stream.Unsubscribe({Rule("z"), Target("Z", 99)});
    log.clear();
    Push(3);
    EXPECT_EQ(log, "b3 c3 C3 e3 E3 ");
    stream.Clear(1 + 8);
    log.clear();
    Push(4);
    EXPECT_EQ(log, "b4 c4 C4 e4 E4 ");
    stream.Clear(2);
    log.clear();
    Push(5);
    EXPECT_EQ(log, "");
    EXPECT_EQ(Stored(), 5);
}

TEST_F(StreamNotification, SharesOneCopyWhoseChangesLaterSubscriptionsSee) {
    const SubscriptionArgs* first = nullptr;
    const Sample* live = nullptr;
    stream.Subscribe({Always(), TestDelegate(1, [&](Stream& sender, SubscriptionArgs& args) {
                          first = &args;
                          sender.GetLatest([&](const Sample& sample) { live = &sample; });
                          EXPECT_NE(args.sample, live);
                          EXPECT_EQ(args.sample->GetTimeStamp(), live->GetTimeStamp());
                          EXPECT_EQ(args.sample->GetStreamType(), &layout.type);
                          args.sample->Set(0, 0, args.sample->GetInt32(0, 0) + 10);
                      })});
    stream.Subscribe({Rule("a"), Target("A", 2)});
    stream.Subscribe({Expression("x == 17"), Target("B", 3)});
    stream.Subscribe({Expression("x == 7"), Target("C", 4)});
    stream.Subscribe(
        SubscriptionOf(5, [&](Stream&, SubscriptionArgs& args) { EXPECT_EQ(&args, first); }));
    Push(7);
    EXPECT_EQ(log, "a17 A17 B17 ");
    EXPECT_EQ(Stored(), 7);
    stream.ChangeLatest([](Sample& sample) { sample.Set(0, 0, 8); }, true);
    EXPECT_EQ(log, "a17 A17 B17 a18 A18 ");
    EXPECT_EQ(Stored(), 8);
}

TEST_F(StreamNotification, GivesACopyToTheRulesOfHosts) {
    const auto change = [](SubscriptionArgs& args) {
        args.sample->Set(0, 0, args.sample->GetInt32(0, 0) + 10);
        return false;
    };
    stream.Subscribe(
        {And(Always(), Not(Or(Xor(Always(), Always()), new TestRule(change)))), Target("A", 1)});
    stream.Subscribe({new TestRule(change), Target("B", 2)});
    stream.Subscribe({Expression("x == 27"), Target("C", 3)});
    Push(7);
    EXPECT_EQ(log, "A17 C27 ");
    EXPECT_EQ(Stored(), 7);
}

TEST_F(StreamNotification, HasACopyOfItsOwnInsideAnother) {
    stream.Subscribe(SubscriptionOf(1, [&](Stream& sender, SubscriptionArgs& args) {
        const int number = args.sample->GetInt32(0, 0);
        if (number >= 3)
            return;
        const Sample* const outer = args.sample;
        sender.PushNew([&](Sample& sample) { sample.Set(0, 0, number + 1); });
        EXPECT_EQ(args.sample, outer);
        EXPECT_EQ(args.sample->GetInt32(0, 0), number);
        args.sample->Set(0, 0, number + 100);
    }));
    stream.Subscribe({Always(), Target("A", 2)});
    Push(1);
    EXPECT_EQ(log, "A3 A102 A101 ");
    std::vector<int> all;
    stream.GetAll([&](const std::vector<Sample*>& samples) {
        for (const Sample* sample : samples)
            all.push_back(sample->GetInt32(0, 0));
    });
    EXPECT_EQ(all, (std::vector<int>{1, 2, 3}));
}

TEST_F(StreamNotification, OfAPopCarriesTheSampleThatIsGone) {
    Push(1);
    Push(2);
    stream.Subscribe(SubscriptionOf(1, [&](Stream& sender, SubscriptionArgs& args) {
        log += std::to_string(args.changeType) + std::to_string(args.sample->GetInt32(0, 0)) + ' ';
        log += sender.IsEmpty() ? "none " : std::to_string(Stored()) + ' ';
    }));
    stream.PopLatest();
    stream.PopLatest();
    stream.PopLatest();
    EXPECT_EQ(log, "12 1 11 none ");
}

TEST_F(StreamNotification, TellsChangeTypeAndSender) {
    int tag = 0;
    const std::string binary = test::BinaryForm({test::BytesOf(9)});
    struct Row {
        const char* name;
        std::function<void(std::istream&)> operation;
        std::vector<std::pair<StreamChangeType, void*>> told;
    };
    const auto nothing = [](Sample&) {};
    const Row table[] = {
        {"fill", [&](auto&) { stream.PushNew(nothing); }, {{pushed, nullptr}}},
        {"sample",
         [&](auto&) { stream.PushNew(new Sample(&layout.type, 0)); },
         {{pushed, nullptr}}},
        {"input", [&](auto& in) { stream.PushNew(in, &tag); }, {{pushed, &tag}}},
        {"input, no sender", [&](auto& in) { stream.PushNew(in, nullptr); }, {{pushed, nullptr}}},
        {"latest", [&](auto& in) { stream.DeserializeLatest(in, &tag); }, {{changed, &tag}}},
        {"change", [&](auto&) { stream.ChangeLatest(nothing, true); }, {{changed, nullptr}}},
        {"silent change", [&](auto&) { stream.ChangeLatest(nothing, false); }, {}},
        {"pop", [&](auto&) { stream.PopLatest(); }, {{popped, nullptr}}},
        {"clear", [&](auto&) { stream.Clear(1); }, {}},
        {"pop of nothing", [&](auto&) { stream.PopLatest(); }, {}},
        {"first", [&](auto& in) { stream.DeserializeLatest(in, &tag); }, {{changed, &tag}}}};
    std::vector<std::pair<StreamChangeType, void*>> told;
    stream.Subscribe(SubscriptionOf(1, [&](Stream&, SubscriptionArgs& args) {
        told.emplace_back(args.changeType, args.sender);
    }));
    for (const Row& row : table) {
        told.clear();
        std::istringstream in(binary);
        row.operation(in);
        EXPECT_EQ(told, row.told) << row.name;
    }
    EXPECT_EQ(Stored(), 9);
    EXPECT_EQ(static_cast<int>(pushed), 0);
    EXPECT_EQ(static_cast<int>(popped), 1);
    EXPECT_EQ(static_cast<int>(changed), 2);
    static_assert(sizeof(StreamChangeType) == 1);
}

TEST_F(StreamNotification, NeedsOnlyItsOwnLockForSubscribing) {
    stream.AtomicExecute([&] {
        EXPECT_TRUE(test::FinishesElsewhere([this] {
            stream.Subscribe({Always(), Target("A", 1)});
            stream.Subscribe({Always(), Target("B", 2)});
            stream.Unsubscribe({Always(), Target("B", 2)});
        }));
    });
    Push(1);
    EXPECT_EQ(log, "A1 ");
    stream.AtomicExecute(
        [&] { EXPECT_TRUE(test::FinishesElsewhere([this] { stream.Clear(2); })); });
    Push(2);
    EXPECT_EQ(log, "A1 ");
}

TEST_F(StreamNotification, MakesNoCopyWithoutSubscribers) {
    Push(1);
    const std::function<void(Sample&)> change = [](Sample&) {};
    const auto costOfChange = [&] {
        const test::AllocationProbe probe;
        stream.ChangeLatest(change, true);
        return test::AllocationProbe::Count();
    };
    EXPECT_EQ(costOfChange(), 0);
    stream.Subscribe(SubscriptionOf(1, [](Stream&, SubscriptionArgs&) {}));
    EXPECT_GT(costOfChange(), 0);
    stream.Clear(2);
    EXPECT_EQ(costOfChange(), 0);
}

TEST_F(StreamNotification, SubscriptionsOwnRuleAndDelegate) {
    auto* const rule = Rule("a");
    StreamSubscription one(rule, Target("A", 1));
    EXPECT_EQ(one.GetRule(), rule);
    const StreamSubscription copy(one);
    EXPECT_NE(copy.GetRule(), rule);
    EXPECT_EQ(TestRule::live, 2);
    EXPECT_EQ(TestDelegate::live, 2);
    const TestRule lent([](SubscriptionArgs&) { return true; });
    StreamSubscription other(lent, Target("B", 2));
    EXPECT_TRUE(one == copy);
    EXPECT_FALSE(one == other);
    StreamSubscription moved(std::move(one));
    EXPECT_EQ(moved.GetRule(), rule);
    EXPECT_EQ(one.GetRule(), nullptr);
    other = moved;
    EXPECT_TRUE(other == copy);
    one = std::move(moved);
    EXPECT_EQ(one.GetRule(), rule);
    EXPECT_EQ(TestRule::live, 4);
    EXPECT_EQ(TestDelegate::live, 3);

    stream.Subscribe(one);
    TestDelegate::cloningFails = true;
    EXPECT_THROW(StreamSubscription(Rule("b"), Target("B", 2)), std::bad_alloc);
    EXPECT_THROW(StreamSubscription(lent, Target("B", 2)), std::bad_alloc);
    EXPECT_THROW(stream.Subscribe(one), std::bad_alloc);
    TestDelegate::cloningFails = false;
    EXPECT_EQ(TestRule::live, 5);
    Push(1);
    EXPECT_EQ(log, "a1 A1 ");
}

}  // namespace
}  // namespace velmora::core::tessaryn
