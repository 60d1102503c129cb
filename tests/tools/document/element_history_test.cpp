// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "document/element_history.h"

#include <gtest/gtest.h>

#include <limits>

namespace velmora::tool {
namespace {

TEST(ElementHistory, SparklineOfTheLargestRangeDoesNotOverflow) {
    constexpr double max = std::numeric_limits<double>::max();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(MakeSparkline({-max, 0, nan, max}, false), "_= #");
}

}  // namespace
}  // namespace velmora::tool
