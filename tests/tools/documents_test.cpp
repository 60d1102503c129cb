// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Documents of types and streams: kept by watch, converted, continued, and told by show.

#include "folder.h"
#include "process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

namespace velmora::tool {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

using Arguments = std::vector<std::string>;

const std::string first =
    "time,x,who,pair\n"
    "2020-01-01T00:00:00Z,1,ada,1;2\n"
    "1960-01-01T00:00:01.5Z,-5,\" b\n\",3;4\n";
const std::string second =
    "time,x,who,pair\n"
    "2021-01-01T00:00:00Z,7,,5;6\n";

/// Runs watch on some rows, keeping only what a test is about quiet.
Outcome Watch(const std::string& rows, Arguments more) {
    Arguments arguments = {"watch", "-", "--quiet", "--type", "pair:Int16:2"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunTool(arguments, rows);
}

std::string Show(const std::string& file, const std::string& path = "") {
    const Outcome run = RunTool({"show", file, path, "--output", "ndjson"});
    EXPECT_EQ(run.status, 0) << run.err;
    return run.out;
}

/// All values of one entry in the order of a document.
std::vector<std::string> ValuesIn(const std::string& xml, const std::string& key) {
    const std::string before = "<Key>" + key + "</Key>\n";
    const std::string opening = "<Value>";
    std::vector<std::string> values;
    for (std::size_t at = xml.find(before); at != std::string::npos; at = xml.find(before, at)) {
        at = xml.find_first_not_of(' ', at + before.size());
        if (xml.compare(at, opening.size(), opening) != 0)
            continue;
        at += opening.size();
        values.push_back(xml.substr(at, xml.find('<', at) - at));
    }
    return values;
}

TEST(Documents, GoThroughBothFormsUnchanged) {
    const Folder folder;
    const std::string xml = folder.PathOf("a.xml");
    const std::string json = folder.PathOf("b.JSON");
    const std::string again = folder.PathOf("c.xml");
    const Outcome kept = RunTool({"watch", EXAMPLE_RECORDING, "--rule", "temperature > 100",
                                  "--stream", "store/cold", "--save", xml});
    ASSERT_EQ(kept.status, 0) << kept.err;
    EXPECT_THAT(kept.err, EndsWith("saved to " + xml + "\n"));
    ASSERT_EQ(RunTool({"convert", xml, json}).status, 0);
    ASSERT_EQ(RunTool({"convert", json, again}).status, 0);
    EXPECT_EQ(folder.Read("a.xml"), folder.Read("c.xml"));
    const Outcome shown = RunTool({"show", xml});
    EXPECT_THAT(shown.out, HasSubstr("cold  type store.cold 1.0.0  720 of at most 1000 samples\n"
                                     "      2026-01-15T00:00:00Z to 2026-01-15T11:59:00Z\n"));
    EXPECT_EQ(shown.out, RunTool({"show", json}).out);
    EXPECT_EQ(Show(xml), Show(json));
    EXPECT_THAT(folder.List(), ElementsAre("a.xml", "b.JSON", "c.xml"));
}

TEST(Documents, ContinueWithTheTimesAndValuesThatTheyHold) {
    const Folder folder;
    const std::string file = folder.PathOf("m.xml");
    ASSERT_EQ(Watch(first, {"--stream", "plant/s", "--save", file}).status, 0);
    const Outcome run = Watch(
        second, {"--stream", "plant/s", "--load", file, "--save", file, "--rule", "pair[1] > 0"});
    EXPECT_EQ(run.out, "2021-01-01T00:00:00Z plant/s [pair[1] > 0] x=7 who=\"\" pair=[5;6]\n")
        << run.err;
    EXPECT_EQ(Show(file),
              R"({"kind":"type group","path":"plant"}
{"kind":"type","path":"plant/s","version":"1.0.0","hash":"661b4db1","entries":[)"
              R"({"name":"x","type":"Int64"},{"name":"who","type":"String"},)"
              R"({"name":"pair","type":"Int16"}]}
{"kind":"type","path":"Any","version":"0.0.1","hash":"14040224","entries":[]}
{"kind":"stream group","path":"plant"}
{"kind":"stream","path":"plant/s","type":"plant.s","version":"1.0.0","samples":3,)"
              R"("max_size":1000,"first":"1960-01-01T00:00:01.500Z","last":"2021-01-01T00:00:00Z",)"
              R"("entries":[{"name":"x","type":"Int64","elements":[{"min":-5,"max":7,"last":7}]},)"
              R"({"name":"who","type":"String","last":""},{"name":"pair","type":"Int16",)"
              R"("elements":[{"min":1,"max":5,"last":5},{"min":2,"max":6,"last":6}]}]}
)");
    EXPECT_THAT(ValuesIn(folder.Read("m.xml"), "x"), ElementsAre("1", "-5", "7"));
}

TEST(Documents, KeepTheOrderOfPushingOfARingThatWrapped) {
    const Folder folder;
    const std::string file = folder.PathOf("ring.xml");
    const auto push = [&](int from, int to, Arguments more) {
        std::string rows = "time,x\n";
        for (int x = from; x <= to; ++x)
            rows += "2020-01-01T00:00:00Z," + std::to_string(x) + "\n";
        Arguments arguments = {"watch", "-", "--rule", "x < 0", "--save", file};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const Outcome run = RunTool(arguments, rows);
        EXPECT_EQ(run.status, 0) << run.err;
        return run.err;
    };
    EXPECT_THAT(push(1, 8, {"--max-size", "5"}),
                AllOf(HasSubstr("3 dropped from the ring of 5"),
                      EndsWith("; --max-size keeps more than the last 5 samples\n")));
    EXPECT_THAT(ValuesIn(folder.Read("ring.xml"), "x"), ElementsAre("4", "5", "6", "7", "8"));
    EXPECT_THAT(push(9, 10, {"--load", file}), HasSubstr("2 dropped from the ring of 5"));
    EXPECT_THAT(ValuesIn(folder.Read("ring.xml"), "x"), ElementsAre("6", "7", "8", "9", "10"));
    push(11, 11, {"--load", file, "--max-size", "3"});
    EXPECT_THAT(ValuesIn(folder.Read("ring.xml"), "x"), ElementsAre("9", "10", "11"));
    push(12, 13, {"--load", file, "--max-size", "4"});
    EXPECT_THAT(ValuesIn(folder.Read("ring.xml"), "x"), ElementsAre("10", "11", "12", "13"));
}

TEST(Documents, TakeAStreamOnlyWhereItFits) {
    const Folder folder;
    const std::string file = folder.PathOf("m.xml");
    ASSERT_EQ(Watch(first, {"--stream", "plant/s", "--save", file}).status, 0);
    const std::string before = folder.Read("m.xml");
    const struct {
        std::string name;
        std::string stream;
        std::string rows;
        std::string reason;
    } refused[] = {
        {"another type", "plant/s", Replaced(second, ",7,", ",7.5,"),
         "Stream 'plant/s' can not continue: it has x:Int64 where the source has x:Double; "
         "--type tells how a column is read"},
        {"another name", "plant/s", Replaced(second, "who", "whom"),
         "it has who:String where the source has whom:String"},
        {"an entry less", "plant/s", "time,x,pair\n2021-01-01,1,1;2\n",
         "it has who:String where the source has pair:Int16"},
        {"an entry more", "plant/s", "time,x,who,pair,y\n2021-01-01,1,,1;2,3\n",
         "it lacks y:Int64, which the source has"},
        {"a type's dotted name", "plant.s", second,
         "Two types would share the full name 'plant.s'"},
        {"an empty group", "a//b", second, "A stream can not be named 'a//b'"},
        {"an empty name", "a/", second, "A stream can not be named 'a/'"},
        {"the name of every repository's type", "Any", second,
         "A stream can not be named 'Any', as the type of that name is taken"},
    };
    for (const auto& item : refused) {
        SCOPED_TRACE(item.name);
        const Outcome run =
            Watch(item.rows, {"--stream", item.stream, "--load", file, "--save", file});
        EXPECT_EQ(run.status, 2);
        EXPECT_THAT(run.err, AllOf(testing::StartsWith("tessaryn: " + file + ": "),
                                   EndsWith(item.reason + "\n")));
        EXPECT_EQ(folder.Read("m.xml"), before);
    }
}

TEST(Documents, TakeNewStreamsAndVersionsBesideWhatTheyHold) {
    const Folder folder;
    const std::string file = folder.PathOf("m.xml");
    ASSERT_EQ(Watch(first, {"--stream", "plant/s", "--save", file}).status, 0);
    // Without the stream its type alone is left.
    const std::string text = folder.Read("m.xml");
    const std::size_t end = text.find("  <StreamRepository>");
    folder.Write("m.xml", text.substr(0, end) + "</Tree>\n");
    ASSERT_EQ(Watch(first, {"--stream", "plant/s", "--load", file, "--save", file}).status, 0);
    EXPECT_THAT(Show(file, "plant/s"), Not(HasSubstr("\"version\":\"2.0.0\"")));
    folder.Write("m.xml", text.substr(0, end) + "</Tree>\n");
    const Arguments other = {"watch",  "-",  "--quiet", "--stream", "plant/s",
                             "--load", file, "--save",  file};
    ASSERT_EQ(RunTool(other, "time,x\n2020-01-01,0.5\n").status, 0);
    EXPECT_THAT(Show(file, "plant/s"),
                AllOf(HasSubstr("\"path\":\"plant/s\",\"version\":\"1.0.0\""),
                      HasSubstr("\"path\":\"plant/s\",\"version\":\"2.0.0\""),
                      HasSubstr("\"type\":\"plant.s\",\"version\":\"2.0.0\",\"samples\":1,")));
}

TEST(Documents, AreWrittenHoweverTheRunEndsUnlessItFails) {
    const Folder folder;
    const std::string file = folder.PathOf("m.json");
    for (const int signal : {SIGTERM, SIGINT}) {
        Process process({"watch", "-", "--save", file});
        process.Write("time,x\n2020-01-01T00:00:00Z,4\n");
        EXPECT_THAT(process.ReadLine(), EndsWith(" x=4"));
        process.Signal(signal);
        EXPECT_EQ(process.Wait().status, 0);
        EXPECT_THAT(Show(file, "stdin"), HasSubstr("\"samples\":1,")) << signal;
        folder.Write("m.json", "");
    }
    {
        Process process({"watch", "-", "--save", file});
        process.CloseOutput();
        process.Write("time,x\n2020-01-01T00:00:00Z,4\n");
        EXPECT_EQ(process.Wait().status, 0);
        EXPECT_THAT(Show(file, "stdin"), HasSubstr("\"samples\":1,"));
    }
    folder.Write("m.json", "old");
    EXPECT_EQ(RunTool({"watch", "-", "--save", file}, "time,x\n2020-01-01,1\n2020-01-01\n").status,
              2);
    EXPECT_EQ(folder.Read("m.json"), "old");
    Process process({"watch", "-", "--save", file, "--for", "50ms"});
    EXPECT_THAT(process.ReadLine(), "");
    EXPECT_EQ(process.Wait().status, 0);
    EXPECT_EQ(folder.Read("m.json"), "old") << "nothing was opened";
}

TEST(Documents, HoldTheHostsFiguresAndContinueThem) {
    const Folder folder;
    const std::string file = folder.PathOf("h.xml");
    const Arguments watch = {"watch", "host", "--every", "10ms", "--for", "45ms", "--save", file};
    ASSERT_EQ(RunTool(watch).status, 0);
    const std::size_t before = ValuesIn(folder.Read("h.xml"), "load").size();
    Arguments again = watch;
    again.insert(again.end(), {"--load", file});
    const Outcome run = RunTool(again);
    ASSERT_EQ(run.status, 0) << run.err;
    const std::vector<std::string> loads = ValuesIn(folder.Read("h.xml"), "load");
    EXPECT_GT(loads.size(), before);
    for (const std::string& load : loads)
        EXPECT_EQ(std::count(load.begin(), load.end(), ';'), 2) << load;
}

}  // namespace
}  // namespace velmora::tool
