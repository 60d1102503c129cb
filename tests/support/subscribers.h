// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "support/live_count.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_subscription.h"
#include "tessaryn/subscription_rule.h"

#include <Poco/AbstractDelegate.h>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <utility>

namespace velmora::test {

using core::tessaryn::Stream;
using core::tessaryn::StreamSubscription;
using core::tessaryn::SubscriptionArgs;

/// Called by each clone and comparison of the rules and delegates below.
inline std::function<void()> onHostCall = [] {};

/// A rule made of a function; counted.
class TestRule : public core::tessaryn::ISubscriptionRule, public LiveCount<TestRule> {
  public:
    using Function = std::function<bool(SubscriptionArgs&)>;
    explicit TestRule(Function decide) : function(std::move(decide)) {}
    bool Applies(SubscriptionArgs& args) const override { return function(args); }
    ISubscriptionRule* Clone() const override {
        onHostCall();
        return new TestRule(*this);
    }

  private:
    Function function;
};

/// A delegate made of a function; counted, and equal to those of the same target.
class TestDelegate : public Poco::AbstractDelegate<SubscriptionArgs>,
                     public LiveCount<TestDelegate> {
  public:
    using Function = std::function<void(Stream&, SubscriptionArgs&)>;
    TestDelegate(int targetNumber, Function notified)
        : target(targetNumber), function(std::move(notified)) {}

    bool notify(const void* sender, SubscriptionArgs& args) override {
        function(*static_cast<Stream*>(const_cast<void*>(sender)), args);
        return false;
    }
    bool equals(const AbstractDelegate& other) const override {
        onHostCall();
        const auto* const same = dynamic_cast<const TestDelegate*>(&other);
        return same != nullptr && same->target == target;
    }
    AbstractDelegate* clone() const override {
        onHostCall();
        return new TestDelegate(*this);
    }
    void disable() override {}

  private:
    int target;
    Function function;
};

/// A subscription to every change.
inline StreamSubscription SubscriptionOf(int target, TestDelegate::Function notified) {
    return {new TestRule([](SubscriptionArgs&) { return true; }),
            TestDelegate(target, std::move(notified))};
}

/// Whether work comes to its end on another thread, waiting for none of this thread's locks. The
/// bound is only reached by work that hangs.
inline bool FinishesElsewhere(std::function<void()> work) {
    auto task = std::make_shared<std::packaged_task<void()>>(std::move(work));
    std::future<void> end = task->get_future();
    std::thread([task] { (*task)(); }).detach();
    return end.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
}

/// Whether another thread gets both locks of a stream.
inline bool LocksAreFree(Stream& stream) {
    return FinishesElsewhere([&stream] {
        stream.IsEmpty();
        stream.Unsubscribe(SubscriptionOf(-1, [](Stream&, SubscriptionArgs&) {}));
    });
}

}  // namespace velmora::test
