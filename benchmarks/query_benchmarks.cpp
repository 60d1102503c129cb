// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// The newest sample, and about a hundred of the newest out of few or many: the cost of a query must
// not depend on the number of samples outside of its answer.

#include "floor_stream.h"
#include "streams.h"

#include <Poco/Timespan.h>
#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <string>

namespace velmora::benchmarks {
namespace {

// A ring that wraps in the middle and whose time stamps ascend to now.
template <class AnySample, class AnyStream, class Type>
void FillByTime(AnyStream& stream, Type type, int size) {
    const Poco::Timestamp now;
    const int pushes = size + size / 2;
    for (int i = 0; i < pushes; ++i) {
        const Poco::Timestamp time = now - sampleDistance * (pushes - 1 - i);
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
Stream& StreamOf(int size) {
    static std::map<int, std::unique_ptr<OwningStream>> streams;
    std::unique_ptr<OwningStream>& stream = streams[size];
    if (!stream) {
        stream = std::make_unique<OwningStream>(&TypeOfValues(), size);
        FillByTime<Sample>(*stream, &TypeOfValues(), size);
    }
    return *stream;
}

FloorStream& FloorStreamOf(int size) {
    static std::map<int, std::unique_ptr<FloorStream>> streams;
    std::unique_ptr<FloorStream>& stream = streams[size];
    if (!stream) {
        stream = std::make_unique<FloorStream>(FloorTypeOfValues(), size);
        FillByTime<FloorSample, FloorStream, const FloorType&>(*stream, FloorTypeOfValues(), size);
    }
    return *stream;
}

template <class AnyStream>
void QueryLast(benchmark::State& state, const AnyStream& stream) {
    const Poco::Timespan span(hundredSamples);
    std::size_t found = 0;
    for (auto _ : state) {
        stream.GetLast(span, [&](const auto& samples) { found = samples.size(); });
    }
    if (found < 98 || found > 100) {
        state.SkipWithError("an answer of another size");
    }
}

void QueryLastOurs(benchmark::State& state, int size) {
    QueryLast(state, StreamOf(size));
}

void QueryLastFloor(benchmark::State& state, int size) {
    QueryLast(state, FloorStreamOf(size));
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
        benchmark::RegisterBenchmark((op + "/ours").c_str(), QueryLastOurs, size);
        benchmark::RegisterBenchmark((op + "/floor").c_str(), QueryLastFloor, size);
    }
    benchmark::RegisterBenchmark("Q2/ours", QueryLatest);
    benchmark::RegisterBenchmark("Q2/floor", QueryLatestFloor);
}

}  // namespace velmora::benchmarks
