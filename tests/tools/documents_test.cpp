// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Documents that watch keeps and continues, that are converted, and that failures leave alone.

#include "process.h"

#include <Poco/String.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>

namespace velmora::tool {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

const std::string first =
    "time,x,who,pair\n2020-01-01T00:00:00Z,1,ada,1;2\n1960-01-01T00:00:01.5Z,-5,\" b\n\",3;4\n";
const std::string second = "time,x,who,pair\n2021-01-01T00:00:00Z,7,,5;6\n";
const std::string watch = "watch - --quiet --type pair:Int16:2 --stream ";

std::string Show(const std::string& file, const std::string& path = "''") {
    return RunTool("show --output ndjson " + file + " " + path).out;
}

// All values of one entry in the order of a document, each with a comma after it.
std::string ValuesIn(const std::string& xml, const std::string& key) {
    const std::string before = "<Key>" + key + "</Key>\n";
    std::string values;
    for (std::size_t at = 0; (at = xml.find(before, at)) != std::string::npos; ++at) {
        const std::size_t begin = xml.find("<Value>", at) + 7;
        if (xml.find("</Entry>", at) > begin) {
            values += xml.substr(begin, xml.find('<', begin) - begin) + ",";
        }
    }
    return values;
}

TEST(Documents, GoThroughBothFormsUnchanged) {
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

TEST(Documents, ContinueOnlyStreamsThatFit) {
    const Folder folder;
    const std::string file = folder.PathOf("m.xml");
    const std::string files = " --load " + file + " --save " + file;
    ASSERT_EQ(RunTool(watch + "plant/s --save " + file, first).status, 0);
    const std::string before = folder.Read("m.xml");
    const struct {
        std::string stream;
        std::string rows;
        std::string reason;
    } refused[] = {
        {"plant/s", Poco::replace(second, ",7,", ",7.5,"),
         "Stream 'plant/s' can not continue: it has x:Int64 where the source has x:Double; "
         "--type tells how a column is read"},
        {"plant/s", Poco::replace(second, "who", "whom"),
         "it has who:String where the source has whom:String"},
        {"plant/s", "time,x,who,pair,y\n2021-01-01,1,,1;2,3\n",
         "it lacks y:Int64, which the source has"},
        {"plant.s", second, "Two types would share the full name 'plant.s'"},
        {"Any", second, "A stream can not be named 'Any', as the type of that name is taken"},
    };
    for (const auto& each : refused) {
        ExpectFailure(watch + each.stream + files, each.reason + "\n", each.rows);
    }
    EXPECT_EQ(folder.Read("m.xml"), before);
    const Outcome run = RunTool(watch + "plant/s --rule pair[1]>0" + files, second);
    EXPECT_EQ(run.out, "2021-01-01T00:00:00Z plant/s [pair[1]>0] x=7 who=\"\" pair=[5;6]\n");
    EXPECT_THAT(Show(file), HasSubstr(R"("samples":3,"max_size":1000,"first":"1960-01-01T00:00:01.)"
                                      R"(500Z","last":"2021-01-01T00:00:00Z","entries":[{"name":)"
                                      R"("x","type":"Int64","elements":[{"min":-5,"max":7,)"));
    // Without the stream its type alone is left, and one more version of it can be made.
    folder.Write("m.xml", before.substr(0, before.find("  <StreamRepository>")) + "</Tree>\n");
    ASSERT_EQ(RunTool("watch - --stream plant/s" + files, "time,x\n2020-01-01,0.5\n").status, 0);
    EXPECT_THAT(
        Show(file, "plant/s"),
        testing::AllOf(HasSubstr("\"path\":\"plant/s\",\"version\":\"1.0.0\""),
                       HasSubstr("\"type\":\"plant.s\",\"version\":\"2.0.0\",\"samples\":1,")));
}

TEST(Documents, KeepTheOrderOfPushingOfARingThatWrapped) {
    const Folder folder;
    const std::string file = folder.PathOf("ring.xml");
    const auto push = [&](int from, int to, const std::string& more) {
        std::string rows = "time,x\n";
        for (int x = from; x <= to; ++x) {
            rows += "2020-01-01T00:00:00Z," + std::to_string(x) + "\n";
        }
        const Outcome run = RunTool("watch - --rule x<0 --save " + file + more, rows);
        return run.err.substr(0, run.err.find('\n')) + " " + ValuesIn(folder.Read("ring.xml"), "x");
    };
    EXPECT_THAT(push(1, 8, " --max-size 5"), EndsWith("3 dropped from the ring of 5 4,5,6,7,8,"));
    const std::string load = " --load " + file;
    EXPECT_THAT(push(9, 10, load), EndsWith("2 dropped from the ring of 5 6,7,8,9,10,"));
    EXPECT_THAT(push(11, 11, load + " --max-size 3"), EndsWith(" 9,10,11,"));
    EXPECT_THAT(push(12, 13, load + " --max-size 4"), EndsWith(" 10,11,12,13,"));
}

TEST(Documents, AreWrittenHoweverTheRunEndsUnlessItFails) {
    const Folder folder;
    const std::string file = folder.PathOf("m.json");
    for (const int signal : {SIGTERM, SIGINT, 0}) {
        SCOPED_TRACE(signal);
        Process process("watch - --save " + file);
        if (signal == 0) {
            process.CloseOutput();
        }
        process.Write("time,x\n2020-01-01T00:00:00Z,4\n2020-01-01T00:00:01Z,5\n");
        if (signal != 0) {
            process.ReadLine();
            EXPECT_THAT(process.ReadLine(), EndsWith(" x=5"));
            kill(process.GetId(), signal);
            // The input stays open: the end comes from the signal alone.
            EXPECT_EQ(process.ReadLine(), "");
        }
        const Outcome run = process.Wait();
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.err, HasSubstr(signal == 0 ? "read, output closed, "
                                                   : "2 samples read, interrupted, "));
        EXPECT_THAT(Show(file, "stdin"), HasSubstr("\"kind\":\"stream\",\"path\":\"stdin\""));
        folder.Write("m.json", "old");
    }
    RunTool("watch - --save " + file, "time,x\n2020-01-01,1\n2020-01-01\n");
    EXPECT_EQ(folder.Read("m.json"), "old");
    Process process("watch - --for 50ms --save " + file);
    EXPECT_EQ(process.ReadLine(), "");
    EXPECT_THAT(process.Wait().err, HasSubstr("stream stdin: 0 samples read, 0 dropped"));
    EXPECT_EQ(folder.Read("m.json"), "old") << "nothing was opened";
}

TEST(DocumentFailures, ChangeNoFile) {
    const Folder folder;
    RunTool("watch - --quiet --save " + folder.PathOf("from.xml"), first);
    const std::string from = "convert " + folder.PathOf("from.xml") + " ";
    const std::string old = folder.Write("old.json", "old");
    const std::string none = folder.PathOf("none/to.xml");
    std::filesystem::create_directory(folder.PathOf("folder.xml"));
    const std::string cut = folder.Write("cut.json", "{\"Tree\": [");
    const std::pair<std::string, std::string> cases[] = {
        {from + none, none + " can not be written: No such file or directory"},
        {from + folder.PathOf("folder.xml"), "can not be written: Is a directory"},
        {"convert " + none + " " + old, "can not be read: No such file or directory"},
        {"convert " + cut + " " + old,
         cut + ": The JSON document can not be read at line 1, column 1"},
        {"watch - --save " + folder.PathOf("to"), "to' ends neither in .xml nor in .json"},
        {"watch - --save " + old + " --load " + cut, cut + ": The JSON document"},
    };
    const std::vector<std::string> before = folder.List();
    for (const auto& [line, reason] : cases) {
        ExpectFailure(line, reason, first);
        EXPECT_EQ(folder.Read("old.json"), "old");
        EXPECT_EQ(folder.List(), before);
    }
}

TEST(DocumentFailures, LeaveTheOldFileUntilTheNewOneIsWhole) {
    const Folder folder;
    const std::string old = folder.Write("old.json", "old");
    const std::string link = folder.PathOf("link.json");
    std::filesystem::create_symlink("old.json", link);
    ASSERT_EQ(chmod(old.c_str(), 0640), 0);
    std::string rows = "time,x\n";
    for (int i = 0; i < 400; ++i) {
        rows += "2020-01-01," + std::to_string(i) + "\n";
    }
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{4096, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const Outcome run = RunTool("watch - --rule x<0 --save " + link, rows);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.err, EndsWith(link + " can not be written: File too large\n"));
    EXPECT_EQ(folder.Read("old.json"), "old");
    ASSERT_EQ(RunTool("watch - --rule x<0 --save " + link, rows).status, 0);
    EXPECT_GT(folder.Read("old.json").size(), 4096U);
    struct stat status {};
    ASSERT_EQ(lstat(old.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, S_IFREG | 0640U);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_THAT(folder.List(), ElementsAre("link.json", "old.json"));
}

}  // namespace
}  // namespace velmora::tool
