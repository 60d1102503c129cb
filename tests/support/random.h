// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

namespace velmora::test {

/// Repeatable random numbers; a failing test prints their seed. `--gtest_random_seed` together
/// with `--gtest_shuffle` varies it.
class Random {
  public:
    Random()
        : Random(1000U + static_cast<unsigned>(testing::UnitTest::GetInstance()->random_seed())) {}

    /// A number from 0 to one less than `limit`.
    unsigned Below(unsigned limit) { return static_cast<unsigned>(engine() % limit); }
    std::uint64_t Bits() { return engine(); }

  private:
    explicit Random(unsigned seed)
        : engine(seed), trace(__FILE__, __LINE__, "random seed " + std::to_string(seed)) {}

    std::mt19937_64 engine;
    testing::ScopedTrace trace;
};

}  // namespace velmora::test
