// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/cost_limit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <sanitizer/allocator_interface.h>

namespace velmora::test {

namespace {

// What any operation may take, whatever its input. The sanitizers make it several times as slow.
constexpr std::uint64_t baseBytes = std::uint64_t{96} * 1024;
constexpr double baseSeconds = 0.2;
constexpr double secondsPerByte = 20e-6;

// libFuzzer reads this section like counters of code. Time is not among them: it differs from run
// to run, and says more about the machine than about the input.
constexpr std::size_t costBuckets = 64;
__attribute__((used, section("__libfuzzer_extra_counters"))) std::uint8_t costs[costBuckets];

bool isCounting = false;
std::uint64_t allocatedBytes = 0;

void CountAllocation(const volatile void* /*memory*/, std::size_t size) {
    if (isCounting) {
        allocatedBytes += size;
    }
}

void IgnoreDeallocation(const volatile void* /*memory*/) {}

// Marks the bucket of a cost per byte, of which there are two each time the cost doubles.
void ReportCost(double bytesPerByte) {
    if (bytesPerByte > 1) {
        const auto bucket = static_cast<std::size_t>(2 * std::log2(bytesPerByte));
        costs[std::min(bucket, costBuckets - 1)] = 1;
    }
}

}  // namespace

CostLimit::CostLimit(const char* operation, std::size_t inputSize, unsigned bytesPerByte)
    : operation(operation), inputSize(inputSize), bytesPerByte(bytesPerByte), start(std::clock()) {
    static const int installed =
        __sanitizer_install_malloc_and_free_hooks(CountAllocation, IgnoreDeallocation);
    EXPECT_NE(installed, 0);
    allocatedBytes = 0;
    isCounting = true;
}

CostLimit::~CostLimit() {
    isCounting = false;
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    const auto size = static_cast<double>(inputSize);
    // Otherwise the shortest inputs would look the most expensive.
    constexpr double minSize = 1'000;
    ReportCost(static_cast<double>(allocatedBytes) / (size + minSize));
    EXPECT_LE(allocatedBytes, baseBytes + bytesPerByte * std::uint64_t{inputSize})
        << operation << " of " << inputSize << " bytes allocates too much";
    EXPECT_LE(seconds, baseSeconds + secondsPerByte * size)
        << operation << " of " << inputSize << " bytes takes too long";
}

}  // namespace velmora::test
