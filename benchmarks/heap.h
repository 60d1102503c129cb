// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <malloc.h>

namespace velmora::benchmarks {

/// Bytes that the process has allocated and not freed.
inline double GetHeap() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

/// Reports a number of bytes of a benchmark with manual time: a byte as a nanosecond.
inline void ReportBytes(benchmark::State& state, double bytes) {
    state.SetIterationTime(std::max(bytes, 0.0) * 1e-9);
}

}  // namespace velmora::benchmarks
