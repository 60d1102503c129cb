// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Frames in memory, beside copying their bytes and computing the checksum over them.

#include "exchange/frame_encoder.h"
#include "exchange/sample_decoder.h"
#include "streams.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <string_view>
#include <zlib.h>

namespace velmora::benchmarks {
namespace {

constexpr std::size_t largeText = 100000;

// The sample of workload W, or one with a text.
Sample MakeSample(bool isLarge) {
    static core::tessaryn::StreamType textType = [] {
        core::tessaryn::StreamType type;
        type.Add("text", core::tessaryn::String, 0);
        return type;
    }();
    if (isLarge) {
        Sample sample(&textType, Poco::Timestamp());
        sample.Set(0, std::string(largeText, 'x'));
        return sample;
    }
    Sample sample(&TypeOfValues(), Poco::Timestamp());
    Fill(sample, ValueSets().front());
    return sample;
}

void EncodeFrame(benchmark::State& state, bool isLarge) {
    const Sample sample = MakeSample(isLarge);
    exchange::FrameEncoder encoder;
    exchange::SampleInfo info;
    for (auto _ : state) {
        ++info.sequence;
        benchmark::DoNotOptimize(encoder.Encode(sample, info).data());
    }
}

void DecodeFrame(benchmark::State& state, bool isLarge) {
    const Sample sample = MakeSample(isLarge);
    exchange::FrameEncoder encoder;
    const std::string frame(encoder.Encode(sample, {}));
    exchange::SampleDecoder decoder({1U << 20U, 1U << 20U});
    for (auto _ : state) {
        const exchange::FrameScan scan = exchange::ScanFrame(frame, frame.size());
        if (scan.status != exchange::FrameScan::Status::complete) {
            state.SkipWithError("not a frame");
            break;
        }
        benchmark::DoNotOptimize(&decoder.Decode(scan.frame, *sample.GetStreamType()));
    }
}

void CopyAndCheck(benchmark::State& state, bool isLarge) {
    exchange::FrameEncoder encoder;
    const std::string frame(encoder.Encode(MakeSample(isLarge), {}));
    std::string copy = frame;
    for (auto _ : state) {
        std::memcpy(copy.data(), frame.data(), frame.size());
        benchmark::ClobberMemory();
        benchmark::DoNotOptimize(
            crc32_z(0, reinterpret_cast<const Bytef*>(copy.data()), copy.size()));
    }
}

}  // namespace

void RegisterExchangeBenchmarks() {
    for (const bool isLarge : {false, true}) {
        const std::string size = isLarge ? ".large" : "";
        benchmark::RegisterBenchmark(("X1" + size + "/ours").c_str(), EncodeFrame, isLarge);
        benchmark::RegisterBenchmark(("X2" + size + "/ours").c_str(), DecodeFrame, isLarge);
        for (const char* const name : {"X1", "X2"}) {
            benchmark::RegisterBenchmark((name + size + "/floor").c_str(), CopyAndCheck, isLarge);
        }
    }
}

}  // namespace velmora::benchmarks
