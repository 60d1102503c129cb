// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"

#include <gtest/gtest.h>

#include <string>

namespace velmora::tool {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

TEST(ConvertCommand, ThereAndBackIsTheSameDocument) {
    const Folder folder;
    const std::string xml = folder.PathOf("a.xml");
    const std::string json = folder.PathOf("b.JSON");
    const Outcome kept = RunTool("watch " EXAMPLE_RECORDING
                                 " --rule temperature>100 --stream "
                                 "store/cold --save " +
                                 xml);
    EXPECT_THAT(kept.err, EndsWith("saved to " + xml + "\n"));
    ASSERT_EQ(RunTool("convert " + xml + " " + json).status, 0);
    ASSERT_EQ(RunTool("convert " + json + " " + folder.PathOf("c.xml")).status, 0);
    EXPECT_EQ(folder.Read("a.xml"), folder.Read("c.xml"));
    const Outcome shown = RunTool("show " + xml);
    EXPECT_THAT(shown.out, HasSubstr("cold  type store.cold 1.0.0  720 of at most 1000 samples\n"
                                     "      2026-01-15T00:00:00Z to 2026-01-15T11:59:00Z\n"));
    EXPECT_EQ(shown.out, RunTool("show " + json).out);
    EXPECT_THAT(folder.List(), ElementsAre("a.xml", "b.JSON", "c.xml"));
}

}  // namespace
}  // namespace velmora::tool
