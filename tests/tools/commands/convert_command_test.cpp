// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"
#include "storage/document.h"
#include "support/all_types.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace velmora::tool {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

TEST(ConvertCommand, RoundTripGivesTheSameDocument) {
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

TEST(ConvertCommand, MakesOneSampleOfEachInterval) {
    const Folder folder;
    const std::string from = folder.Write(
        "a.csv",
        "time,x [bar],who\n1969-12-31T23:59:30Z,1,a\n1969-12-31T23:59:59Z,3,b\n"
        "1970-01-01T00:00:00Z,-,c\n1970-01-01T00:05:10Z,2,d\n1970-01-01T00:05:20Z,-1,e\n"
        "1970-01-01T00:04:00Z,5,f\n1970-01-01T00:05:59Z,,g\n");
    const std::string to = folder.PathOf("b.csv");
    const auto resample = [&](const std::string& options) {
        const Outcome run = RunTool("convert " + from + " " + to + " --every 1m" + options);
        EXPECT_EQ(run.status, 0) << run.err;
        return folder.Read("b.csv");
    };
    EXPECT_EQ(resample(""),
              "time,x,who\n1969-12-31T23:59:00Z,2,b\n1970-01-01T00:00:00Z,,c\n"
              "1970-01-01T00:05:00Z,2,g\n");
    EXPECT_EQ(resample(" --take min,max,last --rule 'who != \"g\"'"),
              "time,x_min,x_max,x_last,who\n1969-12-31T23:59:00Z,1,3,3,b\n"
              "1970-01-01T00:00:00Z,,,,c\n1970-01-01T00:05:00Z,-1,5,5,f\n");
    const std::string line = "convert " + from + " " + to;
    ExpectFailure(line + " --every 1m --take median", "--take 'median' is not mean, min, max or");
    ExpectFailure(line + " --every 1m --take min,min", "--take names 'min' twice");
    ExpectFailure(line + " --every soon", "--every 'soon' is not a duration");
}

TEST(ConvertCommand, WritesWhatIsSelected) {
    const Folder folder;
    const std::string from = folder.PathOf("a.json");
    const std::string rows =
        "time,x,who,pair\n2020-01-01T00:00:00Z,1e300,ada,1;2\n"
        "1960-01-01T00:00:01.5Z,inf,\" \"\"b\n\",3;-4\n";
    const std::string watch = "watch - --quiet --save " + from + " --stream ";
    ASSERT_EQ(RunTool(watch + "plant/a --type pair:Int16:2", rows).status, 0);
    ASSERT_EQ(RunTool(watch + "plant/b --load " + from, "time,y\n2021-01-01,7\n").status, 0);
    const std::string first = "2020-01-01T00:00:00Z";
    const struct {
        std::string to;
        std::string options;
        std::string content;
        std::string notes;
    } cases[] = {
        {"all.csv", "",
         "time,stream,x,who,pair,y\n" + first +
             ",plant/a,1e+300,ada,1;2,\n1960-01-01T00:00:01.500Z,plant/a,inf,\" \"\"b\n\",3;-4,\n"
             "2021-01-01T00:00:00Z,plant/b,,,,7\n",
         "to read the same ones back, use --type pair:Int16:2\n"},
        {"one.csv", "--stream plant/b", "time,y\n2021-01-01T00:00:00Z,7\n", ""},
        {"all.ndjson", "--until 2020-01-01",
         "{\"time\":\"1960-01-01T00:00:01.500Z\",\"stream\":\"plant/a\",\"entries\":{\"x\":null,"
         "\"who\":\" \\\"b\\n\",\"pair\":[3,-4]}}\n",
         ": 1 value will be missing\n"},
        {"rule.NDJSON", "--stream 'plant/>' --rule 'x>1' --since 2020-01-01 --columns pair,x",
         "{\"time\":\"" + first +
             "\",\"stream\":\"plant/a\",\"entries\":{\"pair\":[1,2],\"x\":1e+300}}\n",
         "--type pair:Int16:2\n"},
    };
    for (const auto& each : cases) {
        const std::string to = folder.PathOf(each.to);
        const Outcome run = RunTool("convert " + from + " " + to + " " + each.options);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(folder.Read(each.to), each.content);
        EXPECT_THAT(run.err, EndsWith(each.notes));
        EXPECT_EQ(run.err.empty(), each.notes.empty()) << run.err;
    }
    ASSERT_EQ(
        RunTool("convert " + from + " " + folder.PathOf("b.xml") + " --stream plant/a").status, 0);
    EXPECT_THAT(RunTool("show " + folder.PathOf("b.xml") + " plant/a").out,
                HasSubstr("type plant.a 1.0.0  2 of at most 1000 samples"));
}

// The samples of each stream in the order of time, which is that of a history.
std::map<std::string, std::vector<std::string>> SamplesOf(const std::string& file) {
    const core::tessaryn::Document document = storage::LoadDocument(file);
    std::map<std::string, std::vector<std::string>> samples;
    document.streams->ForEachStream(
        [&](const std::string& path, const core::tessaryn::Stream& stream) {
            for (std::string& text : test::SamplesOf(stream)) {
                samples[path].push_back(std::move(text));
            }
            std::sort(samples[path].begin(), samples[path].end());
        });
    return samples;
}

TEST(ConvertCommand, EachFormKeepsEverySample) {
    const Folder folder;
    core::tessaryn::Document document = storage::NewDocument();
    const core::tessaryn::StreamType layout = test::AllTypes();
    for (const char* const path : {"hall 1/line/a", "hall 1/b", "c"}) {
        core::tessaryn::Stream& stream = storage::OpenStream(document, path, layout, 9);
        for (int number = 0; number < 13; ++number) {
            test::PushAllTypes(stream, number, (number - 11) * 1'000'003LL);
        }
    }
    storage::SaveDocument(folder.PathOf("start.xml"), document);
    const auto samples = SamplesOf(folder.PathOf("start.xml"));
    ASSERT_EQ(samples.at("c").size(), 9U);
    std::string from = "start.xml";
    for (int restart = 0; restart < 3; ++restart) {
        for (const char* const ending : {".db", ".json", ".xml"}) {
            const std::string to = std::to_string(restart) + ending;
            const Outcome run = RunTool("convert " + folder.PathOf(from) + " " + folder.PathOf(to));
            EXPECT_EQ(run.err, "");
            ASSERT_EQ(run.status, 0) << to;
            from = to;
        }
        EXPECT_EQ(SamplesOf(folder.PathOf(from)), samples);
    }
}

TEST(ConvertCommand, ReadsTablesBack) {
    const Folder folder;
    const std::string xml = folder.PathOf("a.xml");
    const std::string watch = "watch - --quiet --type pair:Int16:2 --save " + xml + " --stream ";
    ASSERT_EQ(RunTool(watch + "plant/a", "time,x,who,pair\n2020-01-01,1.5,ada,1;2\n").status, 0);
    ASSERT_EQ(
        RunTool(watch + "b --load " + xml, "time,x,who,pair\n1960-01-01,2.5,\" \"\"b\n\",3;-4\n")
            .status,
        0);
    for (const std::string ending : {".csv", ".ndjson", ".db"}) {
        const std::string table = folder.PathOf("table" + ending);
        const std::string back = folder.PathOf("back.xml");
        ASSERT_EQ(RunTool("convert " + xml + " " + table).status, 0);
        const std::string options = ending == ".db"    ? ""
                                    : ending == ".csv" ? " --type pair:Int16:2 --stream-by stream"
                                                       : " --type pair:Int16:2";
        const Outcome run = RunTool("convert " + table + " " + back + options);
        EXPECT_EQ(run.status, 0) << run.err;
        EXPECT_EQ(SamplesOf(back), SamplesOf(xml)) << ending;
    }
}

TEST(ConvertCommand, RefusesWhatSelectsNothing) {
    const Folder folder;
    const std::string from = folder.PathOf("a.xml");
    ASSERT_EQ(RunTool("watch - --quiet --save " + from, "time,x\n2020-01-01,1\n").status, 0);
    const std::pair<const char*, const char*> cases[] = {
        {"--stream none", "there is no stream 'none'"},
        {"--stream '>/a'", "--stream '>/a': "},
        {"--columns x,y", "no stream has the entry 'y'"},
        {"--since noon", "--since 'noon' is not a time such as"},
        {"--rule 'y > 4'", "rule 'y > 4' names an entry that no stream has"},
        {"--rule 'x >'", "rule 'x >': "},
    };
    for (const auto& [options, reason] : cases) {
        const std::string to = folder.Write("to.csv", "old");
        ExpectFailure("convert " + from + " " + to + " " + options, reason);
        EXPECT_EQ(folder.Read("to.csv"), "old");
    }
    ExpectFailure("convert " + from + " to.txt",
                  "'to.txt' does not end in .xml, .json, .db, .csv or");
}

}  // namespace
}  // namespace velmora::tool
