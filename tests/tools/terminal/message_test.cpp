// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"
#include "terminal/progress_bar.h"

#include <gtest/gtest.h>

#include <string>

namespace velmora::tool {
namespace {

TEST(Message, LosesItsMiddleWhenItIsLong) {
    std::string header = "time";
    for (int i = 0; i < 10'000; ++i) {
        header += ",column" + std::to_string(i);
    }
    const std::string error = RunTool("watch - --time t", header + "\n").err;
    EXPECT_LT(error.size(), 2100U);
    EXPECT_THAT(error, testing::StartsWith("tessaryn: stdin:1: there is no column 't'; the "));
    EXPECT_THAT(error, testing::HasSubstr(" bytes ...]"));
    EXPECT_THAT(error, testing::EndsWith(", 'column9999'\n"));
}

TEST(ProgressBar, ShowsShareRateAndTimeLeft) {
    const std::string half = std::string(20, '#') + std::string(20, '.');
    EXPECT_EQ(DescribeProgress(50, 100, 3'000'000, 2),
              "[" + half + "]  50 %  3000000 samples, 1500000 a second, 2s left");
    EXPECT_EQ(DescribeProgress(1, 1000, 1, 90),
              "[" + std::string(40, '.') + "]   0 %  1 sample, 0 a second, 1d 58m 30s left");
    // A file that has grown.
    EXPECT_EQ(DescribeProgress(120, 100, 10, 1),
              "[" + std::string(40, '#') + "] 100 %  10 samples, 10 a second");
    EXPECT_EQ(DescribeProgress(0, 0, 10, 4), "10 samples, 3 a second");
    EXPECT_EQ(DescribeProgress(0, 100, 0, 0), "[" + std::string(40, '.') + "]   0 %  0 samples");
}

}  // namespace
}  // namespace velmora::tool
