// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/scoped_subscription.h"

#include "support/allocation_probe.h"
#include "support/live_count.h"
#include "support/logged_stream.h"
#include "tessaryn/rules.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

// Held by a function, so that one sees how long that lives.
struct Held : LiveCount<Held> {};

class ScopedSubscriptionTest : public LoggedStream {
  protected:
    void TearDown() override {
        LoggedStream::TearDown();
        EXPECT_EQ(Held::live, 0);
    }

    CallbackDelegate::Function Logs(char name) {
        return [this, name, held = Held()](const SubscriptionArgs& args) { Log(name, args); };
    }

    ScopedSubscription Scoped(char name) { return {stream, rules::Always(), Logs(name)}; }
};

using CallbackDelegateTest = ScopedSubscriptionTest;

TEST_F(CallbackDelegateTest, EqualsItsCopiesOnly) {
    const auto function = Logs('a');
    const CallbackDelegate one(function);
    const CallbackDelegate copy(one);
    const std::unique_ptr<CallbackDelegate> clone(copy.clone());
    EXPECT_TRUE(one.equals(copy) && clone->equals(one));
    EXPECT_FALSE(one.equals(CallbackDelegate(function)) || one.equals(Target(0)));
    stream.Subscribe({Always(), one});
    stream.Subscribe({Expression("x == 1"), copy});
    EXPECT_EQ(LogOf(1), "a1 a1 ");
    stream.Unsubscribe({nullptr, *clone});
    EXPECT_EQ(LogOf(1), "");
}

TEST_F(CallbackDelegateTest, IsNotCalledWhenDisabled) {
    CallbackDelegate delegate(Logs('a'));
    CallbackDelegate copy(delegate);
    delegate.disable();
    Sample sample(&layout.type, Poco::Timestamp());
    SubscriptionArgs args{pushed, &sample, nullptr};
    EXPECT_FALSE(delegate.notify(&stream, args) || CallbackDelegate(delegate).notify(this, args));
    EXPECT_TRUE(copy.notify(&stream, args));
    EXPECT_EQ(log, "a0 ");
}

TEST_F(ScopedSubscriptionTest, EndsWithItsScope) {
    ScopedSubscription kept;
    {
        const ScopedSubscription one = Scoped('a');
        ScopedSubscription moved = Scoped('b');
        kept = std::move(moved);
        EXPECT_EQ(LogOf(1), "a1 b1 ");
    }
    EXPECT_EQ(Held::live, 1);
    EXPECT_EQ(LogOf(2), "b2 ");
    kept = Scoped('c');
    EXPECT_EQ(LogOf(3), "c3 ");
    const AllocationProbe probe;
    kept.Reset();
    kept.Reset();
    EXPECT_EQ(AllocationProbe::Count(), 0);
    EXPECT_EQ(LogOf(4), "");
}

TEST_F(ScopedSubscriptionTest, MayEndInItsOwnFunction) {
    std::optional<ScopedSubscription> once;
    once.emplace(stream, rules::Always(), [&, held = Held()](const SubscriptionArgs& args) {
        once.reset();
        EXPECT_EQ(Held::live, 1);
        Log('a', args);
    });
    EXPECT_EQ(LogOf(1), "a1 ");
    EXPECT_EQ(Held::live, 0);
    EXPECT_EQ(LogOf(2), "");
}

TEST_F(ScopedSubscriptionTest, MayOutliveTheStream) {
    auto other = std::make_unique<Stream>(&layout.type, 1);
    const ScopedSubscription left(*other, rules::Always(), Logs('a'));
    const ScopedSubscription cleared = Scoped('b');
    other.reset();
    stream.Clear(Stream::clearSubscriptions);
    EXPECT_EQ(Held::live, 0);
}

TEST_F(ScopedSubscriptionTest, RefusesWhatCannotBeNotified) {
    EXPECT_THROW(ScopedSubscription(stream, nullptr, Logs('a')), std::invalid_argument);
    EXPECT_THROW(ScopedSubscription(stream, rules::Always(), nullptr), std::invalid_argument);
    EXPECT_EQ(LogOf(1), "");
}

}  // namespace
}  // namespace velmora::core::tessaryn
