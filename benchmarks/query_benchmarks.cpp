// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// The newest sample, and about a hundred of the newest out of few or many, each of which is read:
// the cost of a query must not depend on the number of samples outside of its answer, and little on
// how many of them came late.

#include "floor_stream.h"
#include "streams.h"

#include <Poco/Timespan.h>
#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>
#include <utility>

namespace velmora::benchmarks {
namespace {

// A ring that wraps in the middle and whose time stamps ascend to now, but for samples that came
// late: some, evenly spread, are earlier than the one before.
template <class AnySample, class AnyStream, class Type>
void FillByTime(AnyStream& stream, Type type, int size, int lateSamples) {
    const Poco::Timestamp now;
    const int pushes = size + size / 2;
    const int distance = lateSamples == 0 ? pushes + 1 : size / lateSamples;
    for (int i = 0; i < pushes; ++i) {
        const bool isLate = (i + 1) % distance == distance / 2;
        const Poco::Timestamp time = now - sampleDistance * (pushes - 1 - i + (isLate ? 2 : 0));
        stream.PushNew(std::unique_ptr<AnySample>(new AnySample(type, time)));
    }
}

// Lets `FillByTime` push through the public interface.
class OwningStream : public Stream {
  public:
    using Stream::PushNew;
    using Stream::Stream;
    void PushNew(std::unique_ptr<Sample> sample) { Stream::PushNew(sample.release()); }
};

// Shared by all repetitions: filling the large ones takes longer than measuring.
Stream& StreamOf(int size, int lateSamples = 0) {
    static std::map<std::pair<int, int>, std::unique_ptr<OwningStream>> streams;
    std::unique_ptr<OwningStream>& stream = streams[{size, lateSamples}];
    if (!stream) {
        stream = std::make_unique<OwningStream>(&TypeOfValues(), size);
        FillByTime<Sample>(*stream, &TypeOfValues(), size, lateSamples);
    }
    return *stream;
}

FloorStream& FloorStreamOf(int size) {
    static std::map<int, std::unique_ptr<FloorStream>> streams;
    std::unique_ptr<FloorStream>& stream = streams[size];
    if (!stream) {
        stream = std::make_unique<FloorStream>(FloorTypeOfValues(), size);
        FillByTime<FloorSample, FloorStream, const FloorType&>(*stream, FloorTypeOfValues(), size,
                                                               0);
    }
    return *stream;
}

template <class AnyStream, class Read>
void QueryLast(benchmark::State& state, const AnyStream& stream, Read read) {
    const Poco::Timespan span(hundredSamples);
    std::size_t found = 0;
    for (auto _ : state) {
        double sum = 0.0;
        stream.GetLast(span, [&](const auto& samples) {
            found = samples.size();
            for (const auto* const sample : samples) {
                sum += read(*sample);
            }
        });
        benchmark::DoNotOptimize(sum);
    }
    if (found < 98 || found > 100) {
        state.SkipWithError("an answer of another size");
    }
}

double ReadOurs(const Sample& sample) {
    return sample.GetDouble(temperatureId, 0);
}

void QueryLastOurs(benchmark::State& state, int size, int lateSamples) {
    QueryLast(state, StreamOf(size, lateSamples),
              [](const Sample& sample) { return ReadOurs(sample); });
}

void QueryLastFloor(benchmark::State& state, int size) {
    QueryLast(state, FloorStreamOf(size),
              [](const FloorSample& sample) { return sample.Get<double>(temperatureId, 0); });
}

// A query in the callback of another one.
void QueryInQuery(benchmark::State& state, int size) {
    const Stream& stream = StreamOf(size);
    const Poco::Timespan span(hundredSamples);
    stream.GetLast(span, [&](const auto& /*samples*/) {
        QueryLast(state, stream, [](const Sample& sample) { return ReadOurs(sample); });
    });
}

template <class AnyStream>
void QueryAll(benchmark::State& state, const AnyStream& stream) {
    std::size_t found = 0;
    for (auto _ : state) {
        stream.GetAll([&](const auto& samples) { found += samples.size(); });
    }
    benchmark::DoNotOptimize(found);
}

void QueryAllOurs(benchmark::State& state, int size) {
    QueryAll(state, StreamOf(size));
}

void QueryAllFloor(benchmark::State& state, int size) {
    QueryAll(state, FloorStreamOf(size));
}

void QueryLatest(benchmark::State& state) {
    Stream stream(&TypeOfValues(), ringSize);
    ValueSource source;
    Wrap<Stream, Sample>(stream, source, ringSize);
    double seen = 0.0;
    for (auto _ : state) {
        stream.GetLatest([&](const Sample& sample) { seen = sample.GetDouble(temperatureId, 0); });
        benchmark::DoNotOptimize(seen);
    }
}

void QueryLatestFloor(benchmark::State& state) {
    FloorStream stream(FloorTypeOfValues(), ringSize);
    ValueSource source;
    Wrap<FloorStream, FloorSample>(stream, source, ringSize);
    double seen = 0.0;
    for (auto _ : state) {
        stream.GetLatest(
            [&](const FloorSample& sample) { seen = sample.Get<double>(temperatureId, 0); });
        benchmark::DoNotOptimize(seen);
    }
}

}  // namespace

void RegisterQueryBenchmarks() {
    for (const int size : {1024, 100'000, 1'000'000}) {
        // Filled before any benchmark runs: in a fragmented heap the samples lie further apart, and
        // the ring that is filled later would seem slower.
        StreamOf(size);
        FloorStreamOf(size);
        const std::string op = "Q1." + std::to_string(size);
        benchmark::RegisterBenchmark((op + "/ours").c_str(), QueryLastOurs, size, 0);
        benchmark::RegisterBenchmark((op + "/floor").c_str(), QueryLastFloor, size);
    }
    for (const int lateSamples : {1, 10, 1000}) {
        StreamOf(100'000, lateSamples);
        benchmark::RegisterBenchmark(("Q3." + std::to_string(lateSamples) + "/ours").c_str(),
                                     QueryLastOurs, 100'000, lateSamples);
    }
    benchmark::RegisterBenchmark("Q3.nested/ours", QueryInQuery, 100'000);
    for (const int size : {1024, 1'000'000}) {
        const std::string op = "Q4." + std::to_string(size);
        benchmark::RegisterBenchmark((op + "/ours").c_str(), QueryAllOurs, size);
        benchmark::RegisterBenchmark((op + "/floor").c_str(), QueryAllFloor, size);
    }
    benchmark::RegisterBenchmark("Q2/ours", QueryLatest);
    benchmark::RegisterBenchmark("Q2/floor", QueryLatestFloor);
}

}  // namespace velmora::benchmarks
