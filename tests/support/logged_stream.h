// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "support/ring_model.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace velmora::test {

/// A stream for three samples of one Int32 entry "x", and the log that its subscribers write.
///
/// A rule logs its name, a delegate the letter of its target, "a" for 0, each with the number in
/// the sample, and with "-" after it when the sample was popped.
class LoggedStream : public testing::Test {
  protected:
    using SubscriptionArgs = core::tessaryn::SubscriptionArgs;

    void TearDown() override {
        onHostCall = [] {};
        stream.Clear(Stream::clearSamples | Stream::clearSubscriptions);
        EXPECT_EQ(CountedSample::live + TestRule::live + TestDelegate::live, 0);
    }

    /// Pushes a number, and gives what the subscribers logged.
    std::string LogOf(int number) {
        log.clear();
        auto sample = std::make_unique<CountedSample>(&layout.type, Poco::Timestamp());
        sample->Set(0, 0, number);
        stream.PushNew(sample.release());
        return log;
    }

    void Log(char name, const SubscriptionArgs& args) {
        log += name + std::to_string(args.sample->GetInt32(0, 0));
        log += args.changeType == core::tessaryn::popped ? "- " : " ";
    }

    TestRule* Rule(char name, bool applies = true) {
        return new TestRule([this, name, applies](SubscriptionArgs& args) {
            Log(name, args);
            return applies;
        });
    }

    /// A delegate that logs, and then acts.
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
        return {core::tessaryn::Always(), Target(target, std::move(act))};
    }

    TestType layout{{"x", core::tessaryn::Int32, 1}};
    Stream stream{&layout.type, 3};
    std::string log;
};

}  // namespace velmora::test
