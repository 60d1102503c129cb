// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// What a push costs by the rule that is asked. The floor is a push that nobody hears of.

#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Delegate.h>
#include <benchmark/benchmark.h>

#include <cstdint>

namespace velmora::core::tessaryn {
namespace {

struct Counter {
    void OnChange(SubscriptionArgs& /*args*/) { ++calls; }
    std::int64_t calls = 0;
};

// Pushes into a ring that is full, so that each push frees a sample as well.
void Push(benchmark::State& state, const char* rule) {
    StreamType type;
    type.Add("temperature", Double, 1).Add("power", Int64, 4).Add("state", String, 0);
    Stream stream(&type, 1000);
    Counter counter;
    if (rule != nullptr) {
        stream.Subscribe({Expression(rule), Poco::delegate(&counter, &Counter::OnChange)});
    }
    double temperature = 0.0;
    const auto fill = [&](Sample& sample) {
        sample.Set(0, 0, temperature);
        sample.Set(1, 2, 85LL);
        sample.Set(2, "cooling");
    };
    for (auto _ : state) {
        temperature = temperature < 10.0 ? temperature + 0.25 : 0.0;
        stream.PushNew(fill);
    }
    state.SetItemsProcessed(state.iterations());
    state.counters["notified"] = static_cast<double>(counter.calls);
}

BENCHMARK_CAPTURE(Push, NoSubscription, nullptr);
BENCHMARK_CAPTURE(Push, Function, "pushed()");
BENCHMARK_CAPTURE(Push, Scalar, "temperature > 8.0");
BENCHMARK_CAPTURE(Push, Array, "power < 100");
BENCHMARK_CAPTURE(Push, Text, "state == \"fault\"");
BENCHMARK_CAPTURE(Push, Joined, "temperature > 8.0 && power[2] > 80 && pushed()");

}  // namespace
}  // namespace velmora::core::tessaryn
