// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/samples.h"
#include "support/subscribers.h"
#include "tessaryn/stream.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

constexpr int rounds = 300;

// Pushes, pops, queries and subscriptions interleave at will. A sample seen half filled, a sample
// deleted under a reader or a list of subscriptions changed during a notification is a race that
// the thread sanitizer reports; without it, torn samples and miscounted notifications show.
TEST(StreamThreads, ShareOneStream) {
    test::TestType layout({{"a", Int64, 1}, {"text", String, 0}, {"b", Int64, 1}});
    Stream stream(&layout.type, 7);
    std::atomic<int> torn = 0;
    const auto look = [&](const Sample& sample) {
        torn += sample.GetInt64(0, 0) != sample.GetInt64(2, 0) ? 1 : 0;
    };
    const auto lookAtAll = [&](const std::vector<Sample*>& samples) {
        for (const Sample* sample : samples)
            look(*sample);
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
    stream.Subscribe(test::SubscriptionOf(1, [&](Stream& sender, SubscriptionArgs& args) {
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
                if (!stream.IsEmpty())
                    stream.ChangeLatest(fill(i), true);
            });
        },
        [&](int) { stream.GetSince(Poco::Timestamp(0), lookAtAll); },
        [&](int i) {
            const auto other = test::SubscriptionOf(
                2, [&](Stream&, SubscriptionArgs& args) { look(*args.sample); });
            stream.Subscribe(other);
            if (i % 100 == 99)
                stream.Clear(1);
            stream.Unsubscribe(other);
        }};
    std::vector<std::thread> threads;
    for (const auto& task : tasks) {
        threads.emplace_back([&task] {
            for (int i = 0; i < rounds; ++i)
                task(i);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(told[pushed], 2 * rounds);
    EXPECT_EQ(torn, 0);
}

}  // namespace
}  // namespace velmora::core::tessaryn
