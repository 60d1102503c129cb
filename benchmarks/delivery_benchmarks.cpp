// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Pushes whose changes go to a worker, as the pusher sees them: beside a delegate that copies the
// sample into a vector under a mutex, and beside no subscriber while a handler is slow.

#include "delivery/dispatcher.h"
#include "streams.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Delegate.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <mutex>
#include <thread>
#include <vector>

namespace velmora::benchmarks {
namespace {

constexpr std::size_t queueSize = 1024;

const char* const matchingRule = "temperature > 25.5 && state >= 0";

// What a host would write by hand: copies in a bounded vector.
class Inbox {
  public:
    void OnChange(SubscriptionArgs& args) {
        const std::lock_guard lock(mutex);
        if (samples.size() == queueSize) {
            samples.clear();
        }
        samples.push_back(*args.sample);
    }

  private:
    std::mutex mutex;
    std::vector<Sample> samples;
};

void PushToInbox(benchmark::State& state) {
    Stream stream(&TypeOfValues(), ringSize);
    ValueSource source;
    Wrap<Stream, Sample>(stream, source, ringSize);
    Inbox inbox;
    stream.Subscribe(
        {core::tessaryn::Expression(matchingRule), Poco::delegate(&inbox, &Inbox::OnChange)});
    for (auto _ : state) {
        PushValues<Stream, Sample>(stream, source);
    }
}

void PushToDelivery(benchmark::State& state) {
    Stream stream(&TypeOfValues(), ringSize);
    ValueSource source;
    Wrap<Stream, Sample>(stream, source, ringSize);
    delivery::Dispatcher dispatcher;
    const delivery::Delivery delivery = dispatcher.Subscribe(
        stream, matchingRule, [](delivery::Change&) {}, {.capacity = queueSize});
    for (auto _ : state) {
        PushValues<Stream, Sample>(stream, source);
    }
    if (delivery.GetStatistics().accepted == 0) {
        state.SkipWithError("nothing was delivered");
    }
}

// The time that one push in a thousand exceeds, of pushes 20 µs apart. The queue has been full
// before, as it is sooner or later, and keeps its memory.
void SlowestOfAThousand(benchmark::State& state, bool isDelivered) {
    using Clock = std::chrono::steady_clock;
    constexpr int pushes = 5000;
    Stream stream(&TypeOfValues(), ringSize);
    ValueSource source;
    Wrap<Stream, Sample>(stream, source, ringSize);
    std::mutex filling;
    std::atomic<bool> isSlow = false;
    delivery::Dispatcher dispatcher;
    delivery::Delivery delivery;
    if (isDelivered) {
        const auto handle = [&](delivery::Change&) {
            const std::lock_guard lock(filling);
            std::this_thread::sleep_for(std::chrono::milliseconds(isSlow ? 50 : 0));
        };
        {
            const std::lock_guard lock(filling);
            delivery = dispatcher.Subscribe(stream, matchingRule, handle, {.capacity = queueSize});
            while (delivery.GetStatistics().dropped == 0) {
                PushValues<Stream, Sample>(stream, source);
            }
        }
        if (!delivery.Drain(std::chrono::seconds(10))) {
            state.SkipWithError("the queue was not emptied");
        }
        isSlow = true;
    }
    for (auto _ : state) {
        std::vector<Clock::duration> times;
        times.reserve(pushes);
        Clock::time_point next = Clock::now();
        for (int i = 0; i < pushes; ++i) {
            next += std::chrono::microseconds(20);
            while (Clock::now() < next) {
            }
            const Clock::time_point begin = Clock::now();
            PushValues<Stream, Sample>(stream, source);
            times.push_back(Clock::now() - begin);
        }
        const auto slow = times.begin() + pushes * 999 / 1000;
        std::nth_element(times.begin(), slow, times.end());
        state.SetIterationTime(std::chrono::duration<double>(*slow).count());
    }
}

}  // namespace

void RegisterDeliveryBenchmarks() {
    benchmark::RegisterBenchmark("D1/ours", PushToDelivery);
    benchmark::RegisterBenchmark("D1/floor", PushToInbox);
    const auto addSlowest = [](const char* name, bool isDelivered) {
        benchmark::RegisterBenchmark(name, SlowestOfAThousand, isDelivered)
            ->UseManualTime()
            ->Iterations(1);
    };
    addSlowest("D2/ours", true);
    addSlowest("D2/floor", false);
}

}  // namespace velmora::benchmarks
