// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

namespace velmora::tool {
namespace {

TEST(DocumentFile, FailuresChangeNoFile) {
    const Folder folder;
    const std::string rows = "time,x\n2020-01-01,1\n";
    RunTool("watch - --quiet --save " + folder.PathOf("from.xml"), rows);
    const std::string from = "convert " + folder.PathOf("from.xml") + " ";
    const std::string old = folder.Write("old.json", "old");
    const std::string none = folder.PathOf("none/to.xml");
    std::filesystem::create_directory(folder.PathOf("folder.xml"));
    const std::string cut = folder.Write("cut.json", "{\"Tree\": [");
    const std::pair<std::string, std::string> cases[] = {
        {from + none, "cannot write " + none + ": No such file or directory"},
        {from + folder.PathOf("folder.xml"), "folder.xml: Is a directory"},
        {"convert " + none + " " + old, "cannot read " + none + ": No such file or directory"},
        {"convert " + cut + " " + old,
         cut + ": The JSON document cannot be read at line 1, column 1"},
        {from + old + " --max-memory 1KiB", "from.xml: The XML document cannot be read at line "},
        {"watch - --save " + folder.PathOf("to"), "to' does not end in .xml or .json"},
        {"watch - --save " + old + " --load " + cut, cut + ": The JSON document"},
    };
    const std::vector<std::string> before = folder.List();
    for (const auto& [line, reason] : cases) {
        ExpectFailure(line, reason, rows);
        EXPECT_EQ(folder.Read("old.json"), "old");
        EXPECT_EQ(folder.List(), before);
    }
}

}  // namespace
}  // namespace velmora::tool
