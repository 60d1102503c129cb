// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "press_document.h"
#include "process.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <utility>

namespace velmora::tool {
namespace {

using testing::StartsWith;

TEST(ShowCommand, PrintsTheTreeAsTextAndAsNdjson) {
    const Folder folder;
    const std::string show = "show " + folder.Write("m.xml", pressDocument);
    setenv("LC_ALL", "C", 1);
    EXPECT_EQ(RunTool(show).out, R"(types
  "line 1":
    press
      1.0.0  hash 670c3efd
        wave  Int8
      2.0.0  hash eb1d897b
        force  Double
        tool   String
        count  UInt64
  Any
    0.0.1  hash 14040224
streams
  "line 1":
    b  type "line 1.press" 2.0.0  3 of at most 9 samples
      1969-12-31T23:59:59.999999Z to 1970-01-01T00:00:03Z
      force  Double  min -1.5  max 1e+300                last 1e+300   _#
      tool   String                                      last "\x00"
      count  UInt64  min 0     max 18446744073709551615  last 0       _#_
)");
    setenv("LC_ALL", "C.UTF-8", 1);
    EXPECT_THAT(RunTool(show + " 'line 1:b'").out, testing::EndsWith("last 0       ▁█▁\n"));
    unsetenv("LC_ALL");
    const std::string last =
        R"({"kind":"stream","path":"line 1:b","type":"line 1.press","version":"2.0.0","samples":3,)"
        R"("max_size":9,"first":"1969-12-31T23:59:59.999999Z","last":"1970-01-01T00:00:03Z",)"
        R"("entries":[{"name":"force","type":"Double","elements":[{"min":-1.5,"max":1e+300,)"
        R"("last":1e+300}]},{"name":"tool","type":"String","last":"\u0000"},{"name":"count",)"
        R"("type":"UInt64","elements":[{"min":0,"max":18446744073709551615,"last":0}]}]})";
    EXPECT_THAT(RunTool(show + " --output ndjson").out, testing::EndsWith(last + "\n"));
}

TEST(ShowCommand, FindsGroupsTypesAndStreamsByPath) {
    const Folder folder;
    const std::string file = folder.Write("m.xml", pressDocument);
    const std::pair<std::string, std::string> found[] = {
        {"line 1:press", "types\n  \"line 1:press\"\n    1.0.0  hash"},
        {"line 1::", "types\n  \"line 1\":\n    press\n"},
        {"line 1:b", "streams\n  \"line 1:b\"  type \"line 1.press\" 2.0.0  3 of"}};
    for (const auto& [path, beginning] : found) {
        EXPECT_THAT(RunTool("show " + file + " '" + path + "'").out, StartsWith(beginning));
    }
    for (const std::string path : {"line 1:nothing", "line 1.press"}) {
        ExpectFailure("show " + file + " '" + path + "'",
                      file + ": there is no group, type or stream '" + path + "'\n");
    }
}

TEST(ShowCommand, ListsTheSamplesThatAreAskedFor) {
    const Folder folder;
    const std::string xml = folder.PathOf("a.xml");
    ASSERT_EQ(RunTool("watch - --quiet --stream plant/a --save " + xml,
                      "time,x,y\n2020-01-01,1,5\n2020-01-02,2,6\n2020-01-03,3,7\n")
                  .status,
              0);
    ASSERT_EQ(RunTool("convert " + xml + " " + folder.PathOf("a.db")).status, 0);
    const auto line = [](int day) {
        const std::string number = std::to_string(day);
        return "2020-01-0" + number + "T00:00:00Z plant/a [*] x=" + number +
               " y=" + std::to_string(day + 4) + "\n";
    };
    for (const char* const file : {"a.xml", "a.db"}) {
        const std::string show = "show " + folder.PathOf(file);
        EXPECT_EQ(RunTool(show + " --head 2").out, line(1) + line(2));
        EXPECT_EQ(RunTool(show + " plant/a --tail 1").out, line(3));
        EXPECT_EQ(RunTool(show + " --tail 0").out, "");
        EXPECT_EQ(RunTool(show + " --since 2020-01-02 --until 2020-01-03").out, line(2));
        EXPECT_EQ(RunTool(show + " --rule x>2 --columns y").out,
                  "2020-01-03T00:00:00Z plant/a [x>2] y=7\n");
    }
}

TEST(ShowCommand, PrintsWhatAHistoryHas) {
    const Folder folder;
    const std::string xml = folder.PathOf("a.xml");
    const std::string history = folder.PathOf("a.db");
    ASSERT_EQ(RunTool("watch - --quiet --stream plant/a --save " + xml,
                      "time,x\n2020-01-01,1\n1960-01-01,2\n")
                  .status,
              0);
    EXPECT_THAT(RunTool("convert " + xml + " " + history).err, testing::HasSubstr("1 sample came"));
    EXPECT_EQ(RunTool("show " + history + " plant/").out,
              "streams\n  plant/a\n    type plant.a 1.0.0  2 samples  table velmora_rows_1\n"
              "      1960-01-01T00:00:00Z to 2020-01-01T00:00:00Z\n      x  Int64\n");
    EXPECT_EQ(RunTool("show --output ndjson " + history).out,
              R"({"kind":"stream","path":"plant/a","type":"plant.a","version":"1.0.0","samples":2,)"
              R"("first":"1960-01-01T00:00:00Z","last":"2020-01-01T00:00:00Z",)"
              R"("table":"velmora_rows_1","entries":[{"name":"x","type":"Int64"}]})"
              "\n");
    ExpectFailure("show " + history + " plan", "there is no group or stream 'plan'");
    ExpectFailure("convert " + xml + " " + history, "exists already; tessaryn record adds to");
}

TEST(ShowCommand, SaysOfAFileThatItIsNeitherFormOrWhyItCannotBeRead) {
    const Folder folder;
    const std::string table = folder.PathOf("a.csv");
    folder.Write("a.csv", "time,x\n2020-01-01T00:00:00Z,1\n");
    ExpectFailure("show " + table, "'" + table + "' is neither a history nor a document");
    ExpectFailure("replay " + table, "the file is not a history");
    ExpectFailure("show " + folder.PathOf("none.db"), "none.db: No such file or directory");
    ExpectFailure("show " + table + "/b.db", "b.db: Not a directory");
}

}  // namespace
}  // namespace velmora::tool
