// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>

namespace velmora::tool {
namespace {

TEST(HostSource, ReadsTheFiguresOfThisMachine) {
    Process process(
        "watch host --quiet --every 1ms --rule "
        "load[2]>=0&&cpu[0]>=0&&memory_total>0&&network[1]>=0");
    for (int line = 0; line < 2; ++line) {
        EXPECT_THAT(process.ReadLine(),
                    testing::MatchesRegex(
                        "[^ ]+Z host [^ ]+ load=.[^ ]+;[^ ]+;[^ ]+ cpu=[^ ]+ memory_total=[0-9]+ "
                        "memory_available=[0-9]+ network=.[0-9]+;[0-9]+. hostname=[^ ]+"));
    }
    kill(process.GetId(), SIGINT);
    EXPECT_EQ(process.Wait().status, 0);
}

}  // namespace
}  // namespace velmora::tool
