// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// What show and check tell of a document, and what is wrong with one.

#include "document/element_history.h"
#include "process.h"

#include <Poco/String.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <string>
#include <utility>

namespace velmora::tool {
namespace {

using testing::StartsWith;

// A document of another program: groups, two versions, paths split at ":".
const std::string document = R"(<Tree>
  <StreamTypeRepository><GroupSeparator>:</GroupSeparator>
    <Group><Name flags="10" text="empty"/><Groups><Group><Name>line 1</Name><TypeCollections>
      <TypeCollection><Name>press</Name><Types>
        <Type><Version>2.0.0</Version><Entries>
          <Entry><Key>force</Key><Type>Double</Type></Entry>
          <Entry><Key>tool</Key><Type>String</Type></Entry>
          <Entry><Key>count</Key><Type>UInt64</Type></Entry></Entries></Type>
        <Type><Version>1.0.0</Version><Entries>
          <Entry><Key>wave</Key><Type>Int8</Type></Entry></Entries></Type></Types></TypeCollection>
    </TypeCollections></Group></Groups></Group></StreamTypeRepository>
  <StreamRepository><GroupSeparator>:</GroupSeparator>
    <Group><Name flags="10" text="empty"/><Groups><Group><Name>line 1</Name><Streams>
      <Stream><Name>b</Name><Type>line 1.press</Type><TypeVersion>2.0.0</TypeVersion>
        <MaxSize>9</MaxSize><Samples>
          <Sample><TimeStamp>2000000</TimeStamp><Entries>
            <Entry><Key>force</Key><Value>-1.5</Value></Entry>
            <Entry><Key>tool</Key><Value>new</Value></Entry>
            <Entry><Key>count</Key><Value>18446744073709551615</Value></Entry></Entries></Sample>
          <Sample><TimeStamp>3000000</TimeStamp><Entries>
            <Entry><Key>force</Key><Value>1e+300</Value></Entry></Entries></Sample>
          <Sample><TimeStamp>-1</TimeStamp><Entries>
            <Entry><Key>force</Key><Value>nan</Value></Entry></Entries></Sample>
        </Samples></Stream>
    </Streams></Group></Groups></Group></StreamRepository>
</Tree>
)";

TEST(Show, PrintsTheTreeForPeopleAndForPrograms) {
    const Folder folder;
    const std::string show = "show " + folder.Write("m.xml", document);
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
    // The width of this course is no double.
    constexpr double most = std::numeric_limits<double>::max();
    EXPECT_EQ(Sparkline({-most, 0, std::numeric_limits<double>::quiet_NaN(), most}, false), "_= #");
    const std::string last =
        R"({"kind":"stream","path":"line 1:b","type":"line 1.press","version":"2.0.0","samples":3,)"
        R"("max_size":9,"first":"1969-12-31T23:59:59.999999Z","last":"1970-01-01T00:00:03Z",)"
        R"("entries":[{"name":"force","type":"Double","elements":[{"min":-1.5,"max":1e+300,)"
        R"("last":1e+300}]},{"name":"tool","type":"String","last":"\u0000"},{"name":"count",)"
        R"("type":"UInt64","elements":[{"min":0,"max":18446744073709551615,"last":0}]}]})";
    EXPECT_THAT(RunTool(show + " --output ndjson").out, testing::EndsWith(last + "\n"));
}

TEST(Show, FindsGroupsTypesAndStreamsByPath) {
    const Folder folder;
    const std::string file = folder.Write("m.xml", document);
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

TEST(Check, PrintsTheTreeAndWhatCanNeverMatch) {
    const Folder folder;
    const std::string file = folder.Write("a:b.XML", document);
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
    ExpectFailure("check x --type " + file, "is no FILE:PATH");
}

TEST(DocumentFailures, NameTheNodeAndTheReason) {
    const Folder folder;
    const std::string value = "Value at position '";
    const std::string stream = "/StreamRepository/Group/Groups/Group/Streams/Stream";
    const std::string collection =
        "/StreamTypeRepository/Group/Groups/Group/TypeCollections/TypeCollection";
    const struct {
        std::string part;
        std::string by;
        std::string reason;
    } cases[] = {
        {"<Name>press</Name>", "", value + collection + "/Name' broke rule 'Is mandatory'."},
        {"Int8", "Int9",
         collection + ": Could not create entry with the given arguments: Key: 'wave', base type: "
                      "'UnknownType'"},
        {"<MaxSize>9", "<MaxSize>0", value + stream + "/MaxSize' broke rule 'Is greater than 0'."},
        {"<Type>line 1.press</Type>", "<Type>u.\x7F</Type>",
         stream + ": Item 'u.\\x7f' does not exist."},
        {"Version>2.0.0</TypeV", "Version>3.0.0</TypeV",
         stream + ": Version 3.0.0 does not exist in the collection StreamTypeCollection"},
        {"<Key>tool</Key><Value>", "<Key>y</Key><Value>",
         stream + "/Samples/Sample[1]: Entry with name 'y' does not exist in stream type 'press' "
                  "with version '2.0.0'."},
        {"<Value>new</Value>", "",
         value + stream + "/Samples/Sample[1]/Entries/Entry[2]/Value' broke rule 'Is mandatory'."},
        {"Repository>", "Depository>",
         "/: there is neither StreamTypeRepository nor StreamRepository"},
        {"</Tree>\n", "", "The XML document can not be read at line 26, column 1"},
        {"<Tree>", "<!DOCTYPE Tree><Tree>", "The XML document can not be read at line 1, column "},
    };
    for (const auto& each : cases) {
        const std::string file = folder.Write("m.xml", Poco::replace(document, each.part, each.by));
        ExpectFailure("show " + file, "tessaryn: " + file + ": " + each.reason);
    }
}

}  // namespace
}  // namespace velmora::tool
