// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// What hosts do with many values at a time: typed fields, columns, arrays, batches of samples with
// times of their own.

#include "floor_stream.h"
#include "serializer/node_tree.h"
#include "serializer/serializer.h"
#include "streams.h"
#include "tessaryn/column.h"
#include "tessaryn/field.h"
#include "tessaryn/sample_batch.h"
#include "tessaryn/sample_texts.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <memory>
#include <numeric>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace velmora::benchmarks {
namespace {

using core::tessaryn::Field;
using core::tessaryn::SampleBatch;

constexpr std::size_t batchSize = 100;

using Times = std::vector<Poco::Timestamp::TimeVal>;

Times AscendingTimes() {
    Times times(batchSize);
    std::iota(times.begin(), times.end(), 1000);
    return times;
}

// Reads one entry of samples that fit the cache.
template <class AnySample, class AnyType, class Read>
void ReadEntry(benchmark::State& state, AnyType& type, Read read) {
    std::vector<std::unique_ptr<AnySample>> samples;
    for (std::size_t i = 0; i < batchSize; ++i) {
        samples.push_back(std::make_unique<AnySample>(type, Poco::Timestamp()));
        Fill(*samples.back(), ValueSets()[i % 8]);
    }
    for (auto _ : state) {
        auto sum = read(*samples.front());
        for (const auto& sample : samples) {
            sum += read(*sample);
        }
        benchmark::DoNotOptimize(sum);
    }
}

template <class T>
void ReadField(benchmark::State& state, const char* entry) {
    StreamType* const type = &TypeOfValues();
    ReadEntry<Sample>(state, type, Field<T>(*type, entry));
}

template <class T>
void ReadFieldFloor(benchmark::State& state, Entry entry) {
    const FloorType& type = FloorTypeOfValues();
    ReadEntry<FloorSample>(state, type,
                           [entry](const FloorSample& sample) { return sample.Get<T>(entry, 0); });
}

// All of one entry in a ring that has wrapped, with their times.
void ReadColumn(benchmark::State& state) {
    Stream stream(&TypeOfValues(), ringSize);
    ValueSource source;
    Wrap<Stream, Sample>(stream, source, ringSize);
    const Field<double> temperature(TypeOfValues(), "temperature");
    std::vector<double> values;
    Times times;
    for (auto _ : state) {
        Column(stream, temperature, Poco::Timestamp(0), values, &times);
        benchmark::DoNotOptimize(values.data());
    }
    if (values.size() != ringSize) {
        state.SkipWithError("an answer of another size");
    }
}

void ReadColumnFloor(benchmark::State& state) {
    FloorStream stream(FloorTypeOfValues(), ringSize);
    ValueSource source;
    Wrap<FloorStream, FloorSample>(stream, source, ringSize);
    std::vector<double> values;
    Times times;
    for (auto _ : state) {
        values.clear();
        times.clear();
        stream.GetAll([&](const auto& samples) {
            for (const FloorSample* const sample : samples) {
                values.push_back(sample->Get<double>(temperatureId, 0));
                times.push_back(sample->GetTimeStamp().epochMicroseconds());
            }
        });
        benchmark::DoNotOptimize(values.data());
    }
}

void SetArray(benchmark::State& state, std::size_t size) {
    StreamType type;
    type.Add("array", core::tessaryn::Double, static_cast<unsigned int>(size));
    Sample sample(&type, Poco::Timestamp());
    const std::vector<double> values(size, 1.5);
    for (auto _ : state) {
        sample.Set(0, 0, std::span(values));
        benchmark::ClobberMemory();
    }
}

void SetArrayFloor(benchmark::State& state, std::size_t size) {
    std::vector<double> array(size);
    const std::vector<double> values(size, 1.5);
    Poco::Timestamp timestamp;
    for (auto _ : state) {
        std::memcpy(array.data(), values.data(), size * sizeof(double));
        timestamp.update();
        benchmark::DoNotOptimize(array.data());
        benchmark::ClobberMemory();
    }
}

// The value sets as columns.
struct Columns {
    Columns() {
        ValueSource source;
        for (std::size_t i = 0; i < batchSize; ++i) {
            const Values& values = source.Next();
            temperature.push_back(values.temperature);
            state.push_back(values.state);
            for (std::size_t k = 0; k < values.pressure.size(); ++k) {
                pressure[k].push_back(values.pressure[k]);
            }
            label.push_back(values.label);
        }
    }
    std::vector<double> temperature;
    std::array<std::vector<float>, 4> pressure;
    std::vector<int> state;
    std::vector<std::string> label;
};

void PushColumns(benchmark::State& state, const char* rule) {
    StreamType& type = TypeOfValues();
    Stream stream(&type, ringSize);
    ValueSource source;
    Wrap<Stream, Sample>(stream, source, ringSize);
    const Listener listener(stream, rule);
    const Columns columns;
    const Times times = AscendingTimes();
    const Field<double> temperature(type, temperatureId);
    const Field<float> pressure(type, pressureId);
    const Field<int> status(type, stateId);
    const Field<std::string> label(type, labelId);
    for (auto _ : state) {
        SampleBatch batch = MakeSamples(type, times);
        SetColumn(batch, temperature, columns.temperature);
        for (unsigned int k = 0; k < 4; ++k) {
            SetColumn(batch, pressure, columns.pressure[k], k);
        }
        SetColumn(batch, status, columns.state);
        for (std::size_t i = 0; i < batchSize; ++i) {
            label.SetKeepingTime(*batch[i], columns.label[i]);
        }
        stream.PushMany(batch);
    }
}

void PushDecoded(benchmark::State& state, const char* rule) {
    Stream stream(&TypeOfValues(), ringSize);
    ValueSource source;
    Wrap<Stream, Sample>(stream, source, ringSize);
    const Listener listener(stream, rule);
    const Times times = AscendingTimes();
    std::ostringstream out;
    for (std::size_t i = 0; i < batchSize; ++i) {
        Sample sample(&TypeOfValues(), Poco::Timestamp());
        Fill(sample, source.Next());
        sample.Serialize(out);
    }
    const std::string bytes = out.str();
    for (auto _ : state) {
        stream.PushMany(times, bytes);
    }
}

// A sample of many texts, and its node.
struct ManyTexts {
    explicit ManyTexts(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            type.Add("entry" + std::to_string(i), core::tessaryn::String, 0);
            texts.push_back("text " + std::to_string(i));
        }
        views.assign(texts.begin(), texts.end());
    }
    StreamType type;
    std::vector<std::string> texts;
    std::vector<std::string_view> views;
};

void SetManyTexts(benchmark::State& state, std::size_t count) {
    ManyTexts many(count);
    for (auto _ : state) {
        Sample sample(&many.type, Poco::Timestamp(1));
        SetTexts(sample, 0, many.views);
        benchmark::DoNotOptimize(sample);
    }
}

void ReadManyTexts(benchmark::State& state, std::size_t count) {
    ManyTexts many(count);
    Sample sample(&many.type, Poco::Timestamp(1));
    SetTexts(sample, 0, many.views);
    const core::serialization::NodeTree tree;
    core::serialization::NodeRef node = tree.GetRoot();
    const core::serialization::NodeSerializer serializer;
    sample.Serialize(serializer, node);
    for (auto _ : state) {
        const Sample read(&many.type, serializer, node);
        benchmark::DoNotOptimize(&read);
    }
}

}  // namespace

void RegisterBatchBenchmarks() {
    benchmark::RegisterBenchmark("F1.Double/ours", ReadField<double>, "temperature");
    benchmark::RegisterBenchmark("F1.Double/floor", ReadFieldFloor<double>, temperatureId);
    benchmark::RegisterBenchmark("F1.Int32/ours", ReadField<int>, "state");
    benchmark::RegisterBenchmark("F1.Int32/floor", ReadFieldFloor<int>, stateId);
    benchmark::RegisterBenchmark("F2/ours", ReadColumn);
    benchmark::RegisterBenchmark("F2/floor", ReadColumnFloor);
    for (const std::size_t size : {std::size_t{100}, std::size_t{100'000}}) {
        const std::string op = "F3." + std::to_string(size);
        benchmark::RegisterBenchmark((op + "/ours").c_str(), SetArray, size);
        benchmark::RegisterBenchmark((op + "/floor").c_str(), SetArrayFloor, size);
    }
    for (const std::size_t count : {std::size_t{600}, std::size_t{60'000}}) {
        const std::string size = '.' + std::to_string(count) + "/ours";
        benchmark::RegisterBenchmark(("F4" + size).c_str(), ReadManyTexts, count);
        benchmark::RegisterBenchmark(("F5" + size).c_str(), SetManyTexts, count);
    }
    for (const auto& [name, rule] : {std::pair<std::string, const char*>("", nullptr),
                                     {".always", ""},
                                     {".rule", ruleOfTwo}}) {
        benchmark::RegisterBenchmark(("B1" + name + "/ours").c_str(), PushColumns, rule);
        benchmark::RegisterBenchmark(("B2" + name + "/ours").c_str(), PushDecoded, rule);
    }
}

}  // namespace velmora::benchmarks
