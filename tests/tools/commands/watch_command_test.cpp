// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"

#include <Poco/JSON/Parser.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <string>
#include <sys/stat.h>

namespace velmora::tool {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

const std::string good = "time,x\n2020-01-01,1\n";
const std::string twoRows = "time,x\n2020-01-01T00:00:00Z,1\n2020-01-01T00:00:01Z,5\n";

TEST(WatchCommand, PrintsMatchesAndASummary) {
    const Outcome one = RunTool("watch - --rule 'x > 2'", twoRows);
    EXPECT_EQ(one.out, "2020-01-01T00:00:01Z stdin [x > 2] x=5\n");
    EXPECT_THAT(one.err, StartsWith("stream stdin: 2 samples read, 0 dropped from the "
                                    "ring of 1000\nrule [x > 2]: 1 match\n"));
    EXPECT_THAT(one.err, EndsWith(" samples per second\n"));
    EXPECT_THAT(RunTool("watch - --rule x>2", good).err, HasSubstr(": 1 sample read, "));
    const Outcome several = RunTool(
        "watch - --rule x==5 --rule pushed() --rule x<0 --stream "
        "'two words' --max-size 1",
        twoRows);
    EXPECT_EQ(several.out,
              "2020-01-01T00:00:00Z \"two words\" [pushed()] x=1\n"
              "2020-01-01T00:00:01Z \"two words\" [x==5] x=5\n"
              "2020-01-01T00:00:01Z \"two words\" [pushed()] x=5\n");
    EXPECT_THAT(several.err, HasSubstr("1 dropped from the ring of 1\nrule [x==5]: 1 match\n"
                                       "rule [pushed()]: 2 matches\nrule [x<0]: 0 matches\n"));
}

TEST(WatchCommand, WritesJsonThatParses) {
    const Outcome run = RunTool(
        "watch - --output ndjson --type three:UInt8:3 --type flag:Bool --rule 'text != \"a\"'",
        "time,large,real,nan,text,three,flag\n1969-12-31T23:59:59.5Z,-9223372036854775808,0.1,nan,"
        "\"q\"\" \\ \t\x01\xff\xC3\xA9\n\",1;2;3,1\n");
    EXPECT_EQ(run.out,
              R"({"time":"1969-12-31T23:59:59.500Z","stream":"stdin","rule":"text != \"a\"",)"
              R"("entries":{"large":-9223372036854775808,"real":0.1,"nan":null,)"
              R"("text":"q\" \\ \t\u0001)"
              "\xEF\xBF\xBD\xC3\xA9"
              R"(\n","three":[1,2,3],"flag":true}})"
              "\n");
    EXPECT_NO_THROW(Poco::JSON::Parser().parse(run.out));
}

TEST(WatchCommand, WarnsOfWhatCanNeverMatch) {
    const Outcome run =
        RunTool("watch - --quiet --type x:Int8 --rule 'y > 1 || x == 300' --rule x>2", twoRows);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "2020-01-01T00:00:01Z stdin [x>2] x=5\n");
    const std::string beginning = "tessaryn: warning: rule 'y > 1 || x == 300': The ";
    EXPECT_EQ(run.err, beginning + "stream type has no entry 'y'\n" + "  y > 1 || x == 300\n  ^\n" +
                           beginning +
                           "literal '300' does not convert to Int8: the comparison never holds\n" +
                           "  y > 1 || x == 300\n                ^~~ Int8 holds -128 to 127\n");
}

TEST(WatchCommand, ReportsABadCommandLine) {
    const std::pair<std::string, std::string> cases[] = {
        {"", "A subcommand is required"},
        {"watch - --nonsense", "The following argument was not expected: --nonsense"},
        {"watch no/such.csv", "cannot open 'no/such.csv': No such file or directory"},
        {"watch - --rule 'x = 5'",
         "rule 'x = 5': Expected: '(', '[' or '.'\n  x = 5\n    ^ write '==' instead of '='"},
        {"watch - --rule ''", "rule '' is empty"},
        {"watch - --max-size 0", "A stream cannot keep 0 samples: allowed are 1 to 2147483647."},
        {"watch - --for soon", "--for 'soon' is not a duration such as 250ms, 3s, 2m or 1h"},
        {"watch - --every 1s", "--every is for the source host only"},
        {"watch - --type x:Int9", "--type 'x:Int9': there is no type 'Int9'"},
        {"watch - --rule= --quiet", "--rule= has no value"},
        {"watch - --type x:Int8:0", "--type 'x:Int8:0': COUNT must be 1 to 65535"},
    };
    for (const auto& [line, message] : cases) {
        ExpectFailure(line, "tessaryn: " + message + "\n", twoRows);
    }
    EXPECT_THAT(RunTool("--version").out,
                MatchesRegex("tessaryn " TESSARYN_VERSION "( \\([0-9a-f]{8}(-dirty)?\\))?\n"));
    EXPECT_EQ(RunTool("watch --help").status, 0);
}

TEST(WatchCommand, MemoryDoesNotGrowWithTheTable) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers' own memory grows";
#endif
    std::string rows;
    for (int i = 0; i < 20'000; ++i) {
        rows += "2020-01-01T00:00:00Z," + std::to_string(i) + ",some text that is not short\n";
    }
    const std::string mark = "2020-01-01T00:00:00Z,-1,mark\n";
    Process process("watch - --rule 'x == -1' --quiet");
    const auto peak = [&] {
        std::ifstream status("/proc/" + std::to_string(process.GetId()) + "/status");
        for (std::string word; word != "VmHWM:" && status >> word;) {
        }
        long kibibytes = 0;
        EXPECT_TRUE(status >> kibibytes);
        return kibibytes;
    };
    process.Write("time,x,s\n" + rows + mark);
    process.ReadLine();
    const long early = peak();
    // Ten times as much must fit into what was left unused.
    for (int i = 0; i < 10; ++i) {
        process.Write(rows);
    }
    process.Write(mark);
    EXPECT_EQ(process.ReadLine(), "2020-01-01T00:00:00Z stdin [x == -1] x=-1 s=mark");
    EXPECT_LT(peak() - early, 512) << "KiB";
}

TEST(WatchCommand, SavesHoweverTheRunEndsUnlessItFails) {
    const Folder folder;
    const std::string file = folder.PathOf("m.json");
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, 0}) {
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
        EXPECT_THAT(RunTool("show " + file + " stdin").out, HasSubstr("stdin  type stdin 1.0.0"));
        folder.Write("m.json", "old");
    }
    RunTool("watch - --save " + file, "time,x\n2020-01-01,1\n2020-01-01\n");
    EXPECT_EQ(folder.Read("m.json"), "old");
    // The time is over before any input arrives: nothing was opened.
    Process process("watch - --for 0.001ms --save " + file);
    EXPECT_EQ(process.ReadLine(), "");
    EXPECT_THAT(process.Wait().err, StartsWith("stream stdin: 0 samples read\n"));
    EXPECT_EQ(folder.Read("m.json"), "old");
}

TEST(WatchCommand, StopsWhileAFifoHasNoWriter) {
    const Folder folder;
    const std::string fifo = folder.PathOf("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(RunTool("watch --quiet --for 0.001ms " + fifo).status, 0);
}

}  // namespace
}  // namespace velmora::tool
