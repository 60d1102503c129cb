// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "element_course.h"
#include "folder.h"
#include "process.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace velmora::tool {
namespace {

using testing::HasSubstr;

/// A document of another program: groups, two versions, paths split at ":".
const char* const document = R"({"Tree": [
  {"StreamTypeRepository": [
    {"GroupSeparator": ":"},
    {"Group": [
      {"Name": ""},
      {"Groups": [{"Group": [
        {"Name": "line 1"},
        {"TypeCollections": [{"TypeCollection": [
          {"Name": "press"},
          {"Types": [
            {"Type": [{"Version": "2.0.0"}, {"Entries": [
              {"Entry": [{"Key": "force"}, {"Type": "Double"}]},
              {"Entry": [{"Key": "tool"}, {"Type": "String"}]},
              {"Entry": [{"Key": "on"}, {"Type": "Bool"}]},
              {"Entry": [{"Key": "count"}, {"Type": "UInt64"}]}]}]},
            {"Type": [{"Version": "1.0.0"}, {"Entries": [
              {"Entry": [{"Key": "wave"}, {"Type": "Int8"}]}]}]}]}]}]}]}]}]}]},
  {"StreamRepository": [
    {"GroupSeparator": ":"},
    {"Group": [
      {"Name": ""},
      {"Groups": [{"Group": [
        {"Name": "line 1"},
        {"Streams": [
          {"Stream": [
            {"Name": "b"}, {"Type": "line 1.press"}, {"TypeVersion": "2.0.0"}, {"MaxSize": "9"},
            {"Samples": [
              {"Sample": [{"TimeStamp": "2000000"}, {"Entries": [
                {"Entry": [{"Key": "force"}, {"Value": "-1.5"}]},
                {"Entry": [{"Key": "tool"}, {"Value": "new"}]},
                {"Entry": [{"Key": "on"}, {"Value": "1"}]},
                {"Entry": [{"Key": "count"}, {"Value": "18446744073709551615"}]}]}]},
              {"Sample": [{"TimeStamp": "3000000"}, {"Entries": [
                {"Entry": [{"Key": "force"}, {"Value": "nan"}]}]}]},
              {"Sample": [{"TimeStamp": "-1"}, {"Entries": [
                {"Entry": [{"Key": "force"}, {"Value": "1e+300"}]},
                {"Entry": [{"Key": "count"}, {"Value": "18446744073709551614"}]}]}]}]}]},
          {"Stream": [
            {"Name": "a"}, {"Type": "line 1:press"}, {"TypeVersion": "1.0.0"}, {"MaxSize": "2"},
            {"Samples": [
              {"Sample": [{"TimeStamp": "9223372036854775807"}, {"Entries": [
                {"Entry": [{"Key": "wave"}, {"Value": "1;-2"}]}]}]}]}]},
          {"Stream": [{"Name": "c"}, {"Type": "Any"}, {"MaxSize": "1"}]}]}]}]}]}]}
]})";

TEST(Show, PrintsTheTreeForPeople) {
    const Folder folder;
    const std::string file = folder.Write("m.json", document);
    const std::string types = R"(types
  "line 1":
    press
      1.0.0  hash 670c3efd
        wave  Int8
      2.0.0  hash 6825cf9c
        force  Double
        tool   String
        on     Bool
        count  UInt64
  Any
    0.0.1  hash 14040224
)";
    const std::string streams = R"(streams
  "line 1":
    a  type "line 1.press" 1.0.0  1 of at most 2 samples
      9223372036854775807us to 9223372036854775807us
      wave[0]  Int8  min 1   max 1   last 1   _
      wave[1]  Int8  min -2  max -2  last -2  _
    b  type "line 1.press" 2.0.0  3 of at most 9 samples
      1969-12-31T23:59:59.999999Z to 1970-01-01T00:00:03Z
      force  Double  min -1.5   max 1e+300                last nan     #_
      tool   String                                       last "\x00"
      on     Bool    min false  max true                  last false   _#_
      count  UInt64  min 0      max 18446744073709551615  last 0       ##_
    c  type Any 0.0.1  0 of at most 1 samples
)";
    setenv("LC_ALL", "C", 1);
    EXPECT_EQ(RunTool({"show", file}).out, types + streams);
    setenv("LC_ALL", "C.UTF-8", 1);
    const std::string blocks = RunTool({"show", file, "line 1:b"}).out;
    unsetenv("LC_ALL");
    EXPECT_THAT(blocks,
                testing::StartsWith("streams\n  \"line 1:b\"  type \"line 1.press\" 2.0.0"));
    EXPECT_THAT(blocks, HasSubstr("last 0       ██▁\n"));
}

TEST(Show, PrintsJsonThatReadersTake) {
    const Folder folder;
    const Outcome run = RunTool({"show", folder.Write("m.json", document), "--output", "ndjson"});
    std::istringstream lines(run.out);
    std::vector<std::string> summary;
    Poco::JSON::Object::Ptr stream;
    for (std::string line; std::getline(lines, line);) {
        const auto object = Poco::JSON::Parser().parse(line).extract<Poco::JSON::Object::Ptr>();
        summary.push_back(object->getValue<std::string>("kind") + " " +
                          object->getValue<std::string>("path"));
        if (summary.back() == "stream line 1:b")
            stream = object;
    }
    EXPECT_THAT(summary,
                testing::ElementsAre("type group line 1", "type line 1:press", "type line 1:press",
                                     "type Any", "stream group line 1", "stream line 1:a",
                                     "stream line 1:b", "stream line 1:c"));
    ASSERT_FALSE(stream.isNull());
    EXPECT_EQ(stream->getValue<std::string>("first"), "1969-12-31T23:59:59.999999Z");
    const auto element = [&](unsigned int entry) {
        return stream->getArray("entries")->getObject(entry)->getArray("elements")->getObject(0);
    };
    EXPECT_EQ(element(0)->getValue<double>("max"), 1e300);
    EXPECT_TRUE(element(0)->has("last") && element(0)->isNull("last"));
    EXPECT_EQ(element(3)->getValue<Poco::UInt64>("max"), std::numeric_limits<Poco::UInt64>::max());
    EXPECT_THAT(run.out, HasSubstr(R"("samples":0,"max_size":1,"first":null,"last":null,)"
                                   R"("entries":[]})"));
}

TEST(Show, FindsGroupsTypesAndStreamsByPath) {
    const Folder folder;
    const std::string file = folder.Write("m.json", document);
    const struct {
        std::string path;
        int status;
        std::string beginning;
    } cases[] = {
        {"line 1:press", 0, "types\n  \"line 1:press\"\n    1.0.0  hash"},
        {"line 1", 0, "types\n  \"line 1\":\n    press\n"},
        {"line 1::", 0, "types\n  \"line 1\":\n    press\n"},
        {"line 1:a", 0, "streams\n  \"line 1:a\"  type \"line 1.press\" 1.0.0  1 of"},
        {"", 0, "types\n  \"line 1\":\n"},
        {"line 1:nothing", 2, ""},
        {"line 1.press", 2, ""},
        {"press", 2, ""},
    };
    for (const auto& item : cases) {
        const Outcome run = RunTool({"show", file, item.path});
        EXPECT_EQ(run.status, item.status) << item.path;
        EXPECT_THAT(run.out, testing::StartsWith(item.beginning)) << item.path;
        if (item.status != 0) {
            EXPECT_EQ(run.err, "tessaryn: " + file + ": there is no group, type or stream '" +
                                   item.path + "'\n");
            EXPECT_EQ(run.out, "");
        }
    }
}

TEST(Show, DrawsAnyCourse) {
    constexpr double most = std::numeric_limits<double>::max();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        std::vector<double> means;
        std::string line;
    } cases[] = {
        {{}, ""},
        {{5}, "_"},
        {{5, 5}, "__"},
        {{nan, nan}, "  "},
        {{0, 1, 2, 3, 4, 5, 6, 7}, "_.-~=+*#"},
        {{-most, 0, nan, most}, "_= #"},
    };
    for (const auto& item : cases)
        EXPECT_EQ(Sparkline(item.means, false), item.line) << testing::PrintToString(item.means);
}

TEST(Show, DividesALongCourseIntoMeans) {
    core::tessaryn::StreamType type;
    type.Add("x", core::tessaryn::Double, 1);
    std::vector<core::tessaryn::Sample> samples(10);
    std::vector<core::tessaryn::Sample*> pointers;
    const double most = std::numeric_limits<double>::max();
    const double values[] = {1, 2, 3, 5, most, most, most, -most, 7, most * 2};
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = core::tessaryn::Sample(&type, Poco::Timestamp(0));
        samples[i].Set(0, 0, values[i]);
        pointers.push_back(&samples[i]);
    }
    const auto course = [&](std::size_t parts) {
        return FollowElement(pointers, 0, 0, core::tessaryn::Double, ValueForm::text, parts);
    };
    EXPECT_THAT(course(5).means, testing::ElementsAre(1.5, 4, most, 0, 7));
    EXPECT_EQ(course(40).means.size(), samples.size());
    EXPECT_EQ(course(1).greatest, "inf");
}

}  // namespace
}  // namespace velmora::tool
