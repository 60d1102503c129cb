// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// The program's output, command line and warnings, and how it runs on.

#include "process.h"

#include <Poco/JSON/Parser.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace velmora::tool {
namespace {

using testing::HasSubstr;

const std::string twoRows = "time,x\n2020-01-01T00:00:00Z,1\n2020-01-01T00:00:01Z,5\n";

TEST(Watch, PrintsWhatMatchesAndSumsUp) {
    const Outcome one = RunTool("watch - --rule 'x > 2'", twoRows);
    EXPECT_EQ(one.out, "2020-01-01T00:00:01Z stdin [x > 2] x=5\n");
    EXPECT_THAT(one.err, testing::StartsWith("stream stdin: 2 samples read, 0 dropped from the "
                                             "ring of 1000\nrule [x > 2]: 1 match\n"));
    EXPECT_THAT(one.err, testing::EndsWith(" samples per second\n"));
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

TEST(Watch, WritesJsonThatReadersTake) {
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

TEST(Watch, TellsAtTheStartWhatARuleCanNeverMeet) {
    const Outcome run =
        RunTool("watch - --quiet --type x:Int8 --rule 'y > 1 || x == 300' --rule x>2", twoRows);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "2020-01-01T00:00:01Z stdin [x>2] x=5\n");
    const std::string beginning = "tessaryn: warning: rule 'y > 1 || x == 300': The ";
    EXPECT_EQ(run.err, beginning + "stream type has no entry 'y'\n" + beginning +
                           "literal '300' does not convert to Int8: the comparison '== 300' never "
                           "holds\n");
}

TEST(Watch, EndsWithOneSentenceOnABadCommandLine) {
    const struct {
        std::string line;
        std::string message;
    } cases[] = {
        {"", "A subcommand is required"},
        {"watch - --nonsense", "The following argument was not expected: --nonsense"},
        {"watch no/such.csv", "'no/such.csv' can not be opened: No such file or directory"},
        {"watch - --rule 'x >'", "rule 'x >': Misplaced token"},
        {"watch - --rule ''",
         "stdin:2: rule '' can not be evaluated: Invalid access: Can not convert empty value."},
        {"watch - --max-size 0", "A stream can not keep 0 samples: allowed are 1 to 2147483647."},
        {"watch - --for soon", "--for 'soon' is no duration such as 250ms, 3s, 2m or 1h"},
        {"watch - --every 1s", "--every is for the source host only"},
        {"watch - --type x:Int9", "--type 'x:Int9': there is no type 'Int9'"},
        {"watch - --type x:Int8:0", "--type 'x:Int8:0': a count is 1 to 65535"},
    };
    for (const auto& each : cases) {
        const Outcome run = RunTool(each.line, twoRows);
        EXPECT_EQ(run.status, 2) << each.line;
        EXPECT_EQ(run.out, "") << each.line;
        EXPECT_EQ(run.err, "tessaryn: " + each.message + "\n");
    }
    EXPECT_EQ(RunTool("--version").out, "tessaryn " TESSARYN_VERSION "\n");
    EXPECT_EQ(RunTool("watch --help").status, 0);
}

TEST(Watch, NeedsNoMoreMemoryForALongerTable) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers' own memory grows";
#endif
    std::string rows;
    for (int i = 0; i < 20'000; ++i)
        rows += "2020-01-01T00:00:00Z," + std::to_string(i) + ",some text that is not short\n";
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
    for (int i = 0; i < 10; ++i)
        process.Write(rows);
    process.Write(mark);
    EXPECT_EQ(process.ReadLine(), "2020-01-01T00:00:00Z stdin [x == -1] x=-1 s=mark");
    EXPECT_LT(peak() - early, 512) << "KiB";
}

}  // namespace
}  // namespace velmora::tool
