// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "folder.h"
#include "process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmora::tool {
namespace {

TEST(Check, PrintsTheTreeAndWhatCanNeverMatch) {
    const Folder folder;
    const std::string file = folder.PathOf("a:b.XML");
    ASSERT_EQ(RunTool({"watch", "-", "--quiet", "--stream", "p/s", "--save", file},
                      "time,x,who\n2020-01-01,1,ada\n")
                  .status,
              0);
    const std::string tree = "&&\n >\n  index: x[0:-1]\n  2\n prop: y.exists\n";
    const std::string comparison = "==\n index: x[0:-1]\n a\\x1b\n";
    const struct {
        std::string name;
        std::string rule;
        std::string type;
        int status;
        std::string out;
        std::string err;
    } cases[] = {
        {"no type", "x > 2 && y.exists", "", 0, tree, ""},
        {"missing name", "x > 2 && y.exists", file + ":p/s", 1,
         tree + "warning: The stream type has no entry 'y'\n", ""},
        {"a literal that never fits", "x == \"a\x1b\"", file + ":p/s@1.0.0", 1,
         comparison + "warning: The literal 'a\\x1b' does not convert to Int64: the comparison "
                      "'== a\\x1b' never holds\n",
         ""},
        {"sound", "who == \"ada\"", file + ":p/s", 0, "==\n index: who[0:-1]\n ada\n", ""},
        {"no rule", "x >", "", 2, "", "rule 'x >': Misplaced token"},
        {"empty rule", " ", "", 2, "", "rule ' ' is empty"},
        {"no such type", "x", file + ":p", 2, "", file + ": there is no type 'p'"},
        {"no such version", "x", file + ":p/s@9.0.0", 2, "",
         file + ": there is no type 'p/s@9.0.0'"},
        {"no version", "x", file + ":p/s@new", 2, "", "'new'"},
        {"no path", "x", file, 2, "", "is no FILE:PATH"},
        {"no file", "x", folder.PathOf("none.xml") + ":p/s", 2, "", "No such file or directory"},
    };
    for (const auto& item : cases) {
        SCOPED_TRACE(item.name);
        std::vector<std::string> arguments = {"check", item.rule};
        if (!item.type.empty())
            arguments.insert(arguments.end(), {"--type", item.type});
        const Outcome run = RunTool(arguments);
        EXPECT_EQ(run.status, item.status);
        EXPECT_EQ(run.out, item.out);
        EXPECT_THAT(run.err, testing::HasSubstr(item.err));
        EXPECT_EQ(run.err.empty(), item.err.empty()) << run.err;
    }
}

}  // namespace
}  // namespace velmora::tool
