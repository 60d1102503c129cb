// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/allocation_probe.h"
#include "support/random.h"
#include "support/ring_model.h"
#include "support/thrown.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

TEST(StreamRing, BehavesAsAModelUnderRandomOperations) {
    Random random;
    for (int round = 0; round < 68; ++round) {
        ModelledStream modelled(round % 17 + 1, random);
        for (int step = 0; step < 100; ++step) {
            ASSERT_NO_FATAL_FAILURE(modelled.Step());
        }
    }
    EXPECT_EQ(CountedSample::live, 0);
}

TEST(StreamRing, SelectsWhatIsAsOldAsASpan) {
    constexpr long long day = 86400000000;
    const long long present = Timestamp().epochMicroseconds();
    TestType layout{{"id", Int32, 1}};
    Stream stream(&layout.type, 9);
    for (const long long time : {-LLONG_MAX, 0LL, present, LLONG_MAX}) {
        auto* const sample = new Sample(&layout.type, Timestamp(time));
        sample->Set(0, 0, std::to_string(AllOf(stream).size() + 1));
        stream.PushNew(sample);
    }
    const std::pair<long long, std::vector<int>> spans[] = {{day, {3, 4}},
                                                            {-day, {4}},
                                                            {present + day, {1, 2, 3, 4}},
                                                            {LLONG_MAX, {1, 2, 3, 4}},
                                                            {LLONG_MIN, {1, 2, 3, 4}}};
    for (const auto& [span, numbers] : spans) {
        EXPECT_EQ(Ask([&](auto f) { stream.GetLast(Poco::Timespan(span), f); }), numbers) << span;
    }
}

TEST(StreamRing, HasACapacityFromOneTo31Bits) {
    TestType layout{{"id", Int32, 1}};
    for (const long size : {0L, -1L, LONG_MIN, 2147483648L, 4294967297L}) {
        const std::string message =
            MessageOf<std::invalid_argument>([&] { Stream(&layout.type, size); });
        EXPECT_NE(message.find(std::to_string(size)), std::string::npos) << message;
    }
    Stream stream(&layout.type, INT_MAX);
    for (int i = 0; i < 3; ++i) {
        stream.PushNew([&](Sample& sample) { sample.Set(0, 0, i); });
        EXPECT_EQ(AllOf(stream), std::vector<int>{i});
        // The index steps down to the last slot, far beyond those there are.
        stream.PopLatest();
        EXPECT_EQ(LatestOf(stream), none);
    }
}

TEST(StreamRing, AllocatesForItsSamplesOnly) {
    TestType layout{{"id", Int32, 1}};
    Stream stream(&layout.type, 2);
    stream.PushNew(new Sample(&layout.type, Timestamp()));
    const std::function<void(Sample&)> fill = [](Sample& sample) { sample.Set(0, 0, 2); };
    const AllocationProbe probe;
    stream.PushNew(fill);
    stream.ChangeLatest(fill, true);
    EXPECT_EQ(AllocationProbe::Count(), 4);
    stream.PushNew(fill);
    EXPECT_EQ(AllocationProbe::Count(), 4 + 3);
}

constexpr int rounds = 300;

// Pushes, pops, queries and subscriptions interleave at will. A sample seen half filled, a sample
// deleted under a reader or a list of subscriptions changed during a notification is a race that
// the thread sanitizer reports; without it, torn samples and miscounted notifications show.
TEST(StreamThreads, ShareOneStream) {
    TestType layout({{"a", Int64, 1}, {"text", String, 0}, {"b", Int64, 1}});
    Stream stream(&layout.type, 7);
    std::atomic<int> torn = 0;
    const auto look = [&](const Sample& sample) {
        torn += sample.GetInt64(0, 0) != sample.GetInt64(2, 0) ? 1 : 0;
    };
    const auto lookAtAll = [&](const std::vector<Sample*>& samples) {
        for (const Sample* sample : samples) {
            look(*sample);
        }
    };
    const auto fill = [](long long number) {
        return [number](Sample& sample) {
            sample.Set(0, 0, number);
            sample.Set(1, std::string(static_cast<std::size_t>(number % 40), 'x'));
            sample.Set(2, 0, number);
        };
    };
    // Written without an atomic: the stream's lock alone orders the notifications.
    int told[3] = {};
    stream.Subscribe(SubscriptionOf(1, [&](Stream& sender, SubscriptionArgs& args) {
        ++told[args.changeType];
        look(*args.sample);
        sender.GetAll(lookAtAll);
    }));
    const std::function<void(int)> tasks[] = {
        [&](int i) { stream.PushNew(fill(i)); },
        [&](int i) { stream.PushNew(fill(i)); },
        [&](int) { stream.PopLatest(); },
        [&](int i) {
            stream.AtomicExecute([&] {
                if (!stream.IsEmpty()) {
                    stream.ChangeLatest(fill(i), true);
                }
            });
        },
        [&](int) { stream.GetSince(Poco::Timestamp(0), lookAtAll); },
        [&](int i) {
            const auto other =
                SubscriptionOf(2, [&](Stream&, SubscriptionArgs& args) { look(*args.sample); });
            stream.Subscribe(other);
            if (i % 100 == 99) {
                stream.Clear(1);
            }
            stream.Unsubscribe(other);
        }};
    std::vector<std::thread> threads;
    for (const auto& task : tasks) {
        threads.emplace_back([&task] {
            for (int i = 0; i < rounds; ++i) {
                task(i);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(told[pushed], 2 * rounds);
    EXPECT_EQ(torn, 0);
}

}  // namespace
}  // namespace velmora::core::tessaryn
