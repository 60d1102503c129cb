// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "press_document.h"
#include "process.h"

#include <gtest/gtest.h>

#include <string>

namespace velmora::tool {
namespace {

TEST(CheckCommand, PrintsTheTreeAndWhatCanNeverMatch) {
    const Folder folder;
    const std::string file = folder.Write("a:b.XML", pressDocument);
    const auto check = [](const std::string& line, int status, const std::string& out) {
        const Outcome run = RunTool("check " + line);
        EXPECT_EQ(run.status, status) << line << run.err;
        EXPECT_EQ(run.out, out);
    };
    const std::string type = " --type '" + file + ":line 1:press";
    const std::string tree = "&&\n >\n  index: force[0:-1]\n  2\n prop: y.exists\n";
    check("'force > 2 && y.exists'", 0, tree);
    check("'force > 2 && y.exists'" + type + "'", 1,
          tree + "warning: The stream type has no entry 'y'\n");
    check("'wave == \"a\x1b\"'" + type + "@1.0.0'", 1,
          "==\n index: wave[0:-1]\n a\\x1b\nwarning: The literal 'a\\x1b' does not convert to "
          "Int8: the comparison '== a\\x1b' never holds\n");
    check("count.exists" + type + "'", 0, "prop: count.exists\n");
    ExpectFailure("check 'x >'", "rule 'x >': Misplaced token");
    ExpectFailure("check x" + type + "@9.0.0'", ": there is no type 'line 1:press@9.0.0'");
    ExpectFailure("check x" + type + "@new'", "'new'");
    ExpectFailure("check x --type " + file, "is not FILE:PATH");
}

}  // namespace
}  // namespace velmora::tool
