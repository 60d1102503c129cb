// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace velmora::tool {
namespace {

TEST(StandardOutput, FullDeviceFailsEachCommand) {
    const std::string program = TESSARYN_PROGRAM;
    for (const std::string line : {"--help", "--version", "watch --help", "check x"}) {
        const int status = std::system((program + " " + line + " >/dev/full 2>/dev/null").c_str());
        EXPECT_EQ(WEXITSTATUS(status), 2) << line;
    }
}

}  // namespace
}  // namespace velmora::tool
