// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "support/choices.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

namespace velmora::test {

/// Repeatable random numbers; a failing test prints their seed. `--gtest_random_seed` sets another.
class Random : public Choices {
  public:
    unsigned Below(unsigned limit) override { return static_cast<unsigned>(engine() % limit); }
    std::uint64_t Bits() { return engine(); }

  private:
    int seed = GTEST_FLAG_GET(random_seed);
    std::mt19937_64 engine{static_cast<unsigned>(seed)};
    testing::ScopedTrace trace{__FILE__, __LINE__, "random seed " + std::to_string(seed)};
};

}  // namespace velmora::test
