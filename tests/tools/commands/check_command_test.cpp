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
          tree +
              "warning: The stream type has no entry 'y'\n"
              "  force > 2 && y.exists\n"
              "               ^\n");
    check("'wave == \"a\x1b\"'" + type + "@1.0.0'", 1,
          "==\n index: wave[0:-1]\n a\\x1b\nwarning: The literal '\"a\\x1b\"' does not convert "
          "to Int8: the comparison never holds\n"
          "  wave == \"a\\x1b\"\n"
          "          ^~~~~~~\n");
    // Elements beyond the initial size give a warning if the document has the type's sizes.
    check("'wave[7] == 1'" + type + "@1.0.0'", 0, "==\n index: wave[7:7]\n 1\n");
    std::string sized = pressDocument;
    const std::string wave = "<Key>wave</Key><Type>Int8</Type>";
    sized.insert(sized.find(wave) + wave.size(), "<InitialSize>4</InitialSize>");
    const std::string sizedFile = folder.Write("sized.xml", sized);
    EXPECT_EQ(RunTool("check 'wave[3] == 1' --type '" + sizedFile + ":line 1:press@1.0.0'").status,
              0);
    EXPECT_EQ(RunTool("check 'wave[4] == 1' --type '" + sizedFile + ":line 1:press@1.0.0'").status,
              1);
    // Without a type, the operands, functions and properties are checked.
    check("'x > 1 &&'", 1,
          "&&\n >\n  index: x[0:-1]\n  1\n"
          "warning: The operator '&&' has no right operand: evaluation throws\n"
          "  x > 1 &&\n"
          "        ^~\n");
    check("'x.length == 1'", 1,
          "==\n prop: x.length\n 1\n"
          "warning: There is no property 'length': 'x.length' has no value\n"
          "  x.length == 1\n"
          "    ^~~~~~ did you mean 'size'?\n");
    check("count.exists" + type + "'", 0, "prop: count.exists\n");
    // The entries of a recording, and of all streams of a document.
    const std::string table = folder.Write("a.csv", "time,force,s\n2020-01-01,1,a\n");
    EXPECT_EQ(RunTool("check 'force > 2' --source " + table).status, 0);
    EXPECT_THAT(RunTool("check 'forse > 2' --source " + table).out,
                testing::HasSubstr("has no entry 'forse'"));
    ExpectFailure("check x --source " + table + " --type " + table, "--type excludes --source");
    ExpectFailure("check x --source " + folder.PathOf("none"), "No such file");
    ExpectFailure("check 'x >'", "rule 'x >': Misplaced token\n  x >\n     ^\n");
    ExpectFailure("check 'force > count'" + type + "'",
                  "rule 'force > count': Misplaced identifier: count\n  force > count\n          "
                  "^~~~~ two entries cannot be compared: 'count' is an entry\n");
    ExpectFailure("check 'x > y'", "two entries cannot be compared\n");
    ExpectFailure("check ''", "rule '' is empty");
    ExpectFailure("check x" + type + "@9.0.0'", ": there is no type 'line 1:press@9.0.0'");
    ExpectFailure("check x" + type + "@new'", "'new'");
    ExpectFailure("check x --type " + file, "is not FILE:PATH");
}

}  // namespace
}  // namespace velmora::tool
