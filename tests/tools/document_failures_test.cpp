// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// What goes wrong with documents: the message names file, place and reason, the exit code is 2,
// and no file is changed or left behind.

#include "file_replacement.h"
#include "folder.h"
#include "process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <vector>

namespace velmora::tool {
namespace {

const std::string good = R"(<Tree>
  <StreamTypeRepository><Group><Name flags="10" text="empty"/><TypeCollections><TypeCollection>
    <Name>s</Name><Types><Type><Version>1.0.0</Version><Entries>
      <Entry><Key>x</Key><Type>Int8</Type></Entry>
      <Entry><Key>t</Key><Type>String</Type></Entry>
    </Entries></Type></Types>
  </TypeCollection></TypeCollections></Group></StreamTypeRepository>
  <StreamRepository><Group><Streams><Stream>
    <Name>s</Name><Type>s</Type><TypeVersion>1.0.0</TypeVersion><MaxSize>3</MaxSize><Samples>
      <Sample><TimeStamp>1</TimeStamp><Entries/></Sample>
      <Sample><TimeStamp>2</TimeStamp><Entries>
        <Entry><Key>t</Key><Value>text</Value></Entry></Entries></Sample>
    </Samples></Stream></Streams></Group></StreamRepository>
</Tree>
)";

TEST(DocumentFailures, NameTheNodeAndTheReason) {
    const Folder folder;
    const std::string file = folder.PathOf("m.xml");
    const std::string stream = "/StreamRepository/Group/Streams/Stream";
    const std::string collection = "/StreamTypeRepository/Group/TypeCollections/TypeCollection";
    const auto broken = [](const std::string& position, const std::string& rule) {
        return "Value at position '" + position + "' broke rule '" + rule + "'.";
    };
    const struct {
        std::string part;
        std::string by;
        std::string reason;
    } cases[] = {
        {"<Name>s</Name><Types>", "<Types>", broken(collection + "/Name", "Is mandatory")},
        {"Int8", "Int9",
         collection + ": Could not create entry with the given arguments: Key: 'x', base type: "
                      "'UnknownType'"},
        {"<Key>t</Key><Type>", "<Key>x</Key><Type>", collection + ": "},
        {"<Streams><Stream>\n    <Name>s</Name>", "<Streams><Stream>",
         broken(stream + "/Name", "Is mandatory")},
        {"<MaxSize>3", "<MaxSize>0", broken(stream + "/MaxSize", "Is greater than 0")},
        {"<Type>s</Type>", "", broken(stream + "/Type", "Is mandatory")},
        {"<Type>s</Type>", "<Type>u.\x7F</Type>", stream + ": Item 'u.\\x7f' does not exist."},
        {"Version>1.0.0</TypeV", "Version>2.0.0</TypeV",
         stream + ": Version 2.0.0 does not exist in the collection StreamTypeCollection"},
        {"<Key>t</Key><Value>", "<Key>y</Key><Value>",
         stream + "/Samples/Sample[2]: Entry with name 'y' does not exist in stream type 's' with "
                  "version '1.0.0'."},
        {"<Value>text</Value>", "",
         broken(stream + "/Samples/Sample[2]/Entries/Entry/Value", "Is mandatory")},
        {"Repository>", "Depository>",
         "/: there is neither StreamTypeRepository nor StreamRepository"},
        {"</Tree>\n", "", "The XML document can not be read at line 1"},
        {"<Tree>", "<!DOCTYPE Tree><Tree>", "The XML document can not be read at line 1, column "},
    };
    folder.Write("m.xml", good);
    ASSERT_EQ(RunTool({"show", file}).status, 0);
    for (const auto& item : cases) {
        SCOPED_TRACE(item.part + " -> " + item.by);
        const std::string text = Replaced(good, item.part, item.by);
        ASSERT_NE(text, good);
        folder.Write("m.xml", text);
        const Outcome run = RunTool({"show", file});
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.out, "");
        EXPECT_THAT(run.err, testing::StartsWith("tessaryn: " + file + ": " + item.reason));
        EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << run.err;
    }
}

TEST(DocumentFailures, ChangeNoFile) {
    const Folder folder;
    const std::string from = folder.Write("from.xml", good);
    const std::string old = folder.Write("old.json", "old");
    std::filesystem::create_directory(folder.PathOf("folder.xml"));
    const std::string cut = folder.Write("cut.json", "{\"Tree\": [");
    const std::string rows = "time,x\n2020-01-01,1\n";
    const struct {
        std::vector<std::string> arguments;
        std::string reason;
    } cases[] = {
        {{"convert", from, folder.PathOf("none/to.xml")},
         folder.PathOf("none/to.xml") + " can not be written: No such file or directory"},
        {{"convert", from, old + "/to.xml"}, "/to.xml can not be written: Not a directory"},
        {{"convert", from, folder.PathOf("folder.xml")}, "can not be written: Is a directory"},
        {{"convert", from, folder.PathOf("to.txt")}, "to.txt' ends neither in .xml nor in .json"},
        {{"convert", from, folder.PathOf("json")}, "json' ends neither in .xml nor in .json"},
        {{"convert", folder.PathOf("none.xml"), old}, "can not be read: No such file or directory"},
        {{"convert", folder.PathOf("folder.xml"), old}, "can not be read: Is a directory"},
        {{"convert", old + "/from.xml", old}, "can not be read: Not a directory"},
        {{"convert", cut, old}, cut + ": The JSON document can not be read at line 1, column 1"},
        {{"convert", from}, "TO is required"},
        {{"watch", "-", "--save", folder.PathOf("none/to.xml")},
         "can not be written: No such file or directory"},
        {{"watch", "-", "--save", folder.PathOf("to")}, "to' ends neither in .xml nor in .json"},
        {{"watch", "-", "--save", old, "--load", cut}, cut + ": The JSON document"},
        {{"watch", "-", "--save", old, "--max-size", "0"}, "A stream can not keep 0 samples"},
        {{"show", folder.PathOf("none.xml")}, "can not be read: No such file or directory"},
    };
    const std::vector<std::string> before = folder.List();
    for (const auto& item : cases) {
        SCOPED_TRACE(testing::PrintToString(item.arguments));
        const Outcome run = RunTool(item.arguments, rows);
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.err, testing::HasSubstr(item.reason));
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(folder.Read("old.json"), "old");
        EXPECT_EQ(folder.Read("from.xml"), good);
        EXPECT_EQ(folder.List(), before);
    }
}

TEST(DocumentFailures, LeaveTheOldFileWhereTheNewOneIsTooLarge) {
    const Folder folder;
    const std::string old = folder.Write("old.json", "old");
    std::string rows = "time,x\n";
    for (int i = 0; i < 400; ++i)
        rows += "2020-01-01," + std::to_string(i) + "\n";
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{4096, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const Outcome run = RunTool({"watch", "-", "--rule", "x < 0", "--save", old}, rows);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, testing::EndsWith(old + " can not be written: File too large\n"));
    EXPECT_EQ(folder.Read("old.json"), "old");
    EXPECT_THAT(folder.List(), testing::ElementsAre("old.json"));
}

TEST(FileReplacement, ReplacesInOneStepAndKeepsTheMode) {
    const Folder folder;
    const std::string target = folder.Write("target", "old");
    const std::string link = folder.PathOf("link");
    std::filesystem::create_symlink("target", link);
    ASSERT_EQ(chmod(target.c_str(), 0640), 0);
    {
        FileReplacement given(link);
        given.GetStream() << "half";
    }
    EXPECT_EQ(folder.Read("target"), "old");
    {
        FileReplacement taken(link);
        taken.GetStream() << std::string(200'000, 'n');
        taken.GetStream().flush();
        EXPECT_EQ(folder.Read("target"), "old");
        taken.Commit();
    }
    EXPECT_EQ(folder.Read("target"), std::string(200'000, 'n'));
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    struct stat status {};
    ASSERT_EQ(stat(target.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
    EXPECT_THAT(folder.List(), testing::ElementsAre("link", "target"));
}

}  // namespace
}  // namespace velmora::tool
