// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Pushes into a ring that has wrapped, so that each frees a sample as well: without a subscriber,
// with one, and with one or many rules that do not match.

#include "floor_stream.h"
#include "streams.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Delegate.h>
#include <Poco/MemoryStream.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <istream>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::benchmarks {
namespace {

using core::tessaryn::Always;
using core::tessaryn::Expression;
using core::tessaryn::ISubscriptionRule;

// Fails the benchmark if a delegate was not called as often as expected.
void CheckCalls(benchmark::State& state, long long calls, bool everyTime) {
    if (calls < 0 || (calls > 0) != everyTime) {
        state.SkipWithError("the delegate was called at the wrong times");
    }
}

// No sample has the literal.
std::string RuleOfMany(int k, const char* entry, const std::string& literal) {
    std::ostringstream text;
    text << "temperature > " << TemperatureLimit(k) << " && " << entry << " == " << literal;
    return text.str();
}

// As long as the labels of the samples, with the same beginning.
std::string LabelLimit(int k) {
    return "label-1" + std::to_string(10000 + k);
}

void Push(benchmark::State& state, const std::vector<std::string>& rules, StreamType* type) {
    Stream stream(type, ringSize);
    ValueSource source;
    Wrap<Stream, Sample>(stream, source, ringSize);
    Counter<SubscriptionArgs> counter;
    bool always = false;
    for (const std::string& rule : rules) {
        always = rule.empty();
        stream.Subscribe({always ? Always() : Expression(rule),
                          Poco::delegate(&counter, &Counter<SubscriptionArgs>::OnChange)});
    }
    for (auto _ : state) {
        PushValues<Stream, Sample>(stream, source);
    }
    CheckCalls(state, counter.Calls(), always);
}

void PushFloor(benchmark::State& state, const std::vector<FloorStream::Filter>& filters,
               const FloorType* type) {
    FloorStream stream(*type, ringSize);
    ValueSource source;
    Wrap<FloorStream, FloorSample>(stream, source, ringSize);
    Counter<FloorArgs> counter;
    bool always = false;
    for (const FloorStream::Filter& filter : filters) {
        always = !filter;
        stream.Subscribe(filter, Poco::delegate(&counter, &Counter<FloorArgs>::OnChange));
    }
    for (auto _ : state) {
        PushValues<FloorStream, FloorSample>(stream, source);
    }
    CheckCalls(state, counter.Calls(), always);
}

template <class T>
FloorStream::Filter FilterOf(double limit, Entry entry, T wanted) {
    return [limit, entry, wanted](const FloorSample& sample) {
        return sample.Get<double>(temperatureId, 0) > limit && sample.Get<T>(entry, 0) == wanted;
    };
}

FloorStream::Filter FilterOfLabel(double limit, const std::string& wanted) {
    return [limit, wanted](const FloorSample& sample) {
        return sample.Get<double>(temperatureId, 0) > limit && sample.GetText(labelId) == wanted;
    };
}

bool AllPressuresPositive(const FloorSample& sample) {
    const unsigned int count = sample.SizeInBytes(pressureId) / sizeof(float);
    for (unsigned int i = 0; i < count; ++i) {
        if (!(sample.Get<float>(pressureId, i) > 0.0F)) {
            return false;
        }
    }
    return true;
}

bool LabelIsNoSuchText(const FloorSample& sample) {
    return sample.GetText(labelId) == "no-such-text";
}

// Repeats a push of a sample that is read from memory: what costs least beside a notification.
template <class Push>
void PushFromMemory(benchmark::State& state, StreamType& type, Push push) {
    const std::string bytes = EncodedValues(type);
    Poco::MemoryInputStream in(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    for (auto _ : state) {
        in.rdbuf()->reset();
        push(in);
    }
    if (!in) {
        state.SkipWithError("the encoded sample is too short");
    }
}

void PushEncoded(benchmark::State& state, const char* rule) {
    Stream stream(&TypeOfValues(), ringSize);
    ValueSource source;
    Wrap<Stream, Sample>(stream, source, ringSize);
    const Listener listener(stream, rule);
    PushFromMemory(state, TypeOfValues(),
                   [&stream](std::istream& in) { stream.PushNew(in, nullptr); });
}

void PushEncodedFloor(benchmark::State& state, const FloorStream::Filter* filter) {
    FloorStream stream(FloorTypeOfValues(), ringSize);
    ValueSource source;
    Wrap<FloorStream, FloorSample>(stream, source, ringSize);
    Counter<FloorArgs> counter;
    if (filter != nullptr) {
        stream.Subscribe(*filter, Poco::delegate(&counter, &Counter<FloorArgs>::OnChange));
    }
    PushFromMemory(state, TypeOfValues(), [&stream](std::istream& in) { stream.PushNew(in); });
}

// What rules cost, beside little else.
void PushEncodedToMany(benchmark::State& state, const std::vector<std::string>& rules) {
    Stream stream(&TypeOfMoreValues(), ringSize);
    ValueSource source;
    Wrap<Stream, Sample>(stream, source, ringSize);
    Counter<SubscriptionArgs> counter;
    for (const std::string& rule : rules) {
        stream.Subscribe(
            {Expression(rule), Poco::delegate(&counter, &Counter<SubscriptionArgs>::OnChange)});
    }
    PushFromMemory(state, TypeOfMoreValues(),
                   [&stream](std::istream& in) { stream.PushNew(in, nullptr); });
    CheckCalls(state, counter.Calls(), false);
}

// The rule of P6 by itself, on a text of 2,000 characters.
void RuleOnLongText(benchmark::State& state) {
    Sample sample(&TypeOfValues(), Poco::Timestamp());
    sample.Set(labelId, std::string(2000, 'x'));
    const std::unique_ptr<ISubscriptionRule> rule(Expression("label == \"no-such-text\""));
    SubscriptionArgs args{core::tessaryn::pushed, &sample, nullptr};
    for (auto _ : state) {
        benchmark::DoNotOptimize(rule->Applies(args));
    }
}

// Several threads push into one stream, which the first of them makes.
template <class AnyStream, class AnySample, class AnyType>
void PushTogether(benchmark::State& state, AnyType& type) {
    static std::unique_ptr<AnyStream> stream;
    ValueSource source;
    if (state.thread_index() == 0) {
        stream = std::make_unique<AnyStream>(type, ringSize);
        Wrap<AnyStream, AnySample>(*stream, source, ringSize);
    }
    for (auto _ : state) {
        PushValues<AnyStream, AnySample>(*stream, source);
    }
    if (state.thread_index() == 0) {
        stream.reset();
    }
}

void PushTogetherOurs(benchmark::State& state) {
    StreamType* const type = &TypeOfValues();
    PushTogether<Stream, Sample>(state, type);
}

void PushTogetherFloor(benchmark::State& state) {
    PushTogether<FloorStream, FloorSample>(state, FloorTypeOfValues());
}

}  // namespace

void RegisterPushBenchmarks() {
    using Rules = std::vector<std::string>;
    using Filters = std::vector<FloorStream::Filter>;
    const auto add = [](const char* op, const Rules& rules, const Filters& filters,
                        StreamType& type = TypeOfValues(),
                        const FloorType& floorType = FloorTypeOfValues()) {
        benchmark::RegisterBenchmark((std::string(op) + "/ours").c_str(), Push, rules, &type);
        benchmark::RegisterBenchmark((std::string(op) + "/floor").c_str(), PushFloor, filters,
                                     &floorType);
    };
    const auto addMany = [&](const char* op, StreamType& type, const FloorType& floorType,
                             auto ruleOf, auto filterOf) {
        Rules rules;
        Filters filters;
        for (int k = 0; k < manyRules; ++k) {
            rules.push_back(ruleOf(k));
            filters.push_back(filterOf(k));
        }
        add(op, rules, filters, type, floorType);
        benchmark::RegisterBenchmark((std::string(op) + "/encoded").c_str(), PushEncodedToMany,
                                     rules);
    };
    const auto addNumbers = [&]<class T>(const char* op, const char* name, Entry entry,
                                         T /*type*/) {
        const bool isState = entry == stateId;
        addMany(
            op, isState ? TypeOfValues() : TypeOfMoreValues(),
            isState ? FloorTypeOfValues() : FloorTypeOfMoreValues(),
            [=](int k) {
                std::ostringstream literal;
                literal << std::boolalpha << static_cast<T>(StateLimit(k));
                return RuleOfMany(k, name, literal.str());
            },
            [=](int k) {
                return FilterOf<T>(TemperatureLimit(k), entry, static_cast<T>(StateLimit(k)));
            });
    };
    add("P0", {}, {});
    benchmark::RegisterBenchmark("P0/encoded", PushEncodedToMany, Rules());
    add("P1", {""}, {nullptr});
    add("P2", {ruleOfTwo}, {FilterOf(25.5, stateId, 3)});
    addNumbers("P3", "state", stateId, int());
    addNumbers("P3.Int64", "serial", serialId, 0LL);
    addNumbers("P3.Bool", "open", openId, bool());
    addNumbers("P3.Float", "level", levelId, float());
    addMany(
        "P3.String", TypeOfValues(), FloorTypeOfValues(),
        [](int k) { return RuleOfMany(k, "label", '"' + LabelLimit(k) + '"'); },
        [](int k) { return FilterOfLabel(TemperatureLimit(k), LabelLimit(k)); });
    add("P4", {"pressure > 0"}, {AllPressuresPositive});
    add("P6", {"label == \"no-such-text\""}, {LabelIsNoSuchText});
    for (const int threads : {2, 4}) {
        const std::string op = "P7." + std::to_string(threads);
        benchmark::RegisterBenchmark((op + "/ours").c_str(), PushTogetherOurs)
            ->Threads(threads)
            ->MinTime(0.2);
        benchmark::RegisterBenchmark((op + "/floor").c_str(), PushTogetherFloor)
            ->Threads(threads)
            ->MinTime(0.2);
    }
    static const FloorStream::Filter always;
    static const FloorStream::Filter isHot = FilterOf(25.5, stateId, 3);
    benchmark::RegisterBenchmark("P5/ours", PushEncoded, nullptr);
    benchmark::RegisterBenchmark("P5/floor", PushEncodedFloor, nullptr);
    benchmark::RegisterBenchmark("P5.always/ours", PushEncoded, "");
    benchmark::RegisterBenchmark("P5.always/floor", PushEncodedFloor, &always);
    benchmark::RegisterBenchmark("P5.rule/ours", PushEncoded, ruleOfTwo);
    benchmark::RegisterBenchmark("P5.rule/floor", PushEncodedFloor, &isHot);
    benchmark::RegisterBenchmark("P6rule/ours", RuleOnLongText);
}

}  // namespace velmora::benchmarks
