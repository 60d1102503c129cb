// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Writing and reading the binary form of a sample of 60 bytes in memory.

#include "floor_sample.h"
#include "streams.h"

#include <Poco/MemoryStream.h>
#include <benchmark/benchmark.h>

#include <array>

namespace velmora::benchmarks {
namespace {

constexpr std::size_t encodedSize = 60;

template <class AnySample>
void Encode(benchmark::State& state, AnySample& sample) {
    Fill(sample, ValueSets().front());
    std::array<char, encodedSize> bytes{};
    Poco::MemoryOutputStream out(bytes.data(), bytes.size());
    for (auto _ : state) {
        out.rdbuf()->reset();
        sample.Serialize(out);
        benchmark::ClobberMemory();
    }
    if (!out || out.charsWritten() != static_cast<std::streamsize>(encodedSize)) {
        state.SkipWithError("an encoding of another size");
    }
}

template <class AnySample>
void Decode(benchmark::State& state, AnySample& sample) {
    Fill(sample, ValueSets().front());
    std::array<char, encodedSize> bytes{};
    Poco::MemoryOutputStream out(bytes.data(), bytes.size());
    sample.Serialize(out);
    Poco::MemoryInputStream in(bytes.data(), bytes.size());
    for (auto _ : state) {
        in.rdbuf()->reset();
        sample.Deserialize(in);
        benchmark::ClobberMemory();
    }
    if (!in) {
        state.SkipWithError("the encoded sample is too short");
    }
}

void EncodeOurs(benchmark::State& state) {
    Sample sample(&TypeOfValues(), Poco::Timestamp());
    Encode(state, sample);
}

void EncodeFloor(benchmark::State& state) {
    FloorSample sample(FloorTypeOfValues(), Poco::Timestamp());
    Encode(state, sample);
}

void DecodeOurs(benchmark::State& state) {
    Sample sample(&TypeOfValues(), Poco::Timestamp());
    Decode(state, sample);
}

void DecodeFloor(benchmark::State& state) {
    FloorSample sample(FloorTypeOfValues(), Poco::Timestamp());
    Decode(state, sample);
}

}  // namespace

void RegisterSampleBenchmarks() {
    benchmark::RegisterBenchmark("E1/ours", EncodeOurs);
    benchmark::RegisterBenchmark("E1/floor", EncodeFloor);
    benchmark::RegisterBenchmark("E2/ours", DecodeOurs);
    benchmark::RegisterBenchmark("E2/floor", DecodeFloor);
}

}  // namespace velmora::benchmarks
