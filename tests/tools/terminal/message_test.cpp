// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"

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

}  // namespace
}  // namespace velmora::tool
