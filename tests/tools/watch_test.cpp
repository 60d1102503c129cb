// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// How the program runs: its output, its command line, and its ends.

#include "process.h"

#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>
#include <gtest/gtest.h>

#include <csignal>
#include <limits>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace velmora::tool {
namespace {

using Arguments = std::vector<std::string>;

const std::string twoRows = "time,x\n2020-01-01T00:00:00Z,1\n2020-01-01T00:00:01Z,5\n";

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

Poco::JSON::Object::Ptr ParseObject(const std::string& line) {
    return Poco::JSON::Parser().parse(line).extract<Poco::JSON::Object::Ptr>();
}

TEST(Watch, PrintsTheSampleThatMatches) {
    const Outcome run = RunTool({"watch", "-", "--rule", "x > 2"}, twoRows);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "2020-01-01T00:00:01Z stdin [x > 2] x=5\n");
    EXPECT_TRUE(run.err.starts_with(
        "stream stdin: 2 samples read, 0 dropped from the ring of 1000\nrule [x > 2]: 1 match\n"))
        << run.err;
    EXPECT_TRUE(run.err.ends_with(" samples per second\n")) << run.err;
}

TEST(Watch, AsksEachRuleInTheOrderGiven) {
    const Outcome run = RunTool({"watch", "-", "--rule", "x == 5", "--rule", "pushed()", "--rule",
                                 "x < 0", "--stream", "two words", "--max-size", "1"},
                                twoRows);
    EXPECT_EQ(run.out,
              "2020-01-01T00:00:00Z \"two words\" [pushed()] x=1\n"
              "2020-01-01T00:00:01Z \"two words\" [x == 5] x=5\n"
              "2020-01-01T00:00:01Z \"two words\" [pushed()] x=5\n");
    EXPECT_TRUE(Contains(run.err, "1 dropped from the ring of 1\n")) << run.err;
    EXPECT_TRUE(Contains(run.err,
                         "[x == 5]: 1 match\nrule [pushed()]: 2 matches\n"
                         "rule [x < 0]: 0 matches\n"))
        << run.err;
}

TEST(Watch, WritesJsonThatReadersTake) {
    const std::string input =
        "time,large,real,nan,text,three,flag\n"
        "1969-12-31T23:59:59.5Z,-9223372036854775808,0.1,nan,\"q\"\" \\ \t\x01\xff\xC3\xA9\n\","
        "1;2;3,1\n";
    const Outcome run = RunTool({"watch", "-", "--output", "ndjson", "--type", "three:UInt8:3",
                                 "--type", "flag:Bool", "--rule", "text != \"a\""},
                                input);
    ASSERT_EQ(run.status, 0) << run.err;
    ASSERT_EQ(run.out.find('\n'), run.out.size() - 1);
    const auto line = ParseObject(run.out);
    EXPECT_EQ(line->getValue<std::string>("time"), "1969-12-31T23:59:59.500Z");
    EXPECT_EQ(line->getValue<std::string>("stream"), "stdin");
    EXPECT_EQ(line->getValue<std::string>("rule"), "text != \"a\"");
    const auto entries = line->getObject("entries");
    EXPECT_EQ(entries->size(), 6U);
    EXPECT_EQ(entries->getValue<Poco::Int64>("large"), std::numeric_limits<Poco::Int64>::min());
    EXPECT_EQ(entries->getValue<double>("real"), 0.1);
    EXPECT_TRUE(entries->has("nan") && entries->isNull("nan"));
    EXPECT_EQ(entries->getValue<std::string>("text"), "q\" \\ \t\x01\xEF\xBF\xBD\xC3\xA9\n");
    EXPECT_EQ(entries->getArray("three")->getElement<int>(2), 3);
    EXPECT_EQ(entries->get("flag").type(), typeid(bool));
}

TEST(Watch, TellsAtTheStartWhatARuleCanNeverMeet) {
    const Outcome run = RunTool({"watch", "-", "--quiet", "--type", "x:Int8", "--rule",
                                 "y > 1 || x == 300", "--rule", "x > 2"},
                                twoRows);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "2020-01-01T00:00:01Z stdin [x > 2] x=5\n");
    EXPECT_EQ(run.err,
              "tessaryn: warning: rule 'y > 1 || x == 300': The stream type has no entry 'y'\n"
              "tessaryn: warning: rule 'y > 1 || x == 300': The literal '300' does not convert to "
              "Int8: the comparison '== 300' never holds\n");
}

TEST(Watch, EndsWithOneSentenceOnABadCommandLine) {
    const struct {
        Arguments arguments;
        const char* message;
    } cases[] = {
        {{}, "A subcommand is required"},
        {{"watch"}, "SOURCE is required"},
        {{"watch", "-", "--nonsense"}, "The following argument was not expected: --nonsense"},
        {{"watch", "no/such.csv"}, "'no/such.csv' can not be opened: No such file or directory"},
        {{"watch", "/"}, "'/' can not be read: Is a directory"},
        {{"watch", "-", "--rule", "x >"}, "rule 'x >': Misplaced token"},
        {{"watch", "-", "--rule", "{}"}, "rule '{}': Extra tokens after expression: {"},
        {{"watch", "-", "--rule", ""},
         "stdin:2: rule '' can not be evaluated: Invalid access: Can not convert empty value."},
        {{"watch", "-", "--rule", "x[0:1]", "--type", "x:Int8:2"},
         "stdin:2:2 (x): 1 element where 2 are expected"},
        {{"watch", "-", "--max-size", "0"},
         "A stream can not keep 0 samples: allowed are 1 to 2147483647."},
        {{"watch", "-", "--for", "soon"},
         "--for 'soon' is no duration such as 250ms, 3s, 2m or 1h"},
        {{"watch", "-", "--every", "1s"}, "--every is for the source host only"},
        {{"watch", "host", "--time", "x"},
         "--type, --time and --skip-bad are for CSV, not for host"},
        {{"watch", "-", "--type", "x:Int9"}, "--type 'x:Int9': there is no type 'Int9'"},
        {{"watch", "-", "--type", "x"}, "--type 'x' is not of the form NAME:TYPE[:COUNT]"},
        {{"watch", "-", "--type", "x:Int8:0"}, "--type 'x:Int8:0': a count is 1 to 65535"},
        {{"watch", "-", "--type", "x:String:2"}, "--type 'x:String:2': a String has no count"},
    };
    for (const auto& each : cases) {
        const Outcome run = RunTool(each.arguments, twoRows);
        EXPECT_EQ(run.status, 2) << each.message;
        EXPECT_EQ(run.out, "") << each.message;
        EXPECT_EQ(run.err, "tessaryn: " + std::string(each.message) + "\n");
    }
}

TEST(Watch, SaysWhatItIs) {
    const Outcome version = RunTool({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.out, "tessaryn " TESSARYN_VERSION "\n");
    const Outcome help = RunTool({"watch", "--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* option : {"SOURCE", "--rule", "--stream", "--type", "--time", "--max-size",
                               "--every", "--for", "--output", "--skip-bad", "--quiet"}) {
        EXPECT_TRUE(Contains(help.out, option)) << option;
    }
}

TEST(Watch, EndsCleanlyWhenInterrupted) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Process process({"watch", "-"});
        process.Write(twoRows);
        // The second line tells that the program waits for input.
        process.ReadLine();
        EXPECT_EQ(process.ReadLine(), "2020-01-01T00:00:01Z stdin [*] x=5");
        process.Signal(signal);
        // The input stays open: the end comes from the signal alone.
        EXPECT_EQ(process.ReadLine(), "");
        const Outcome run = process.Wait();
        EXPECT_EQ(run.status, 0);
        EXPECT_TRUE(Contains(run.err, "2 samples read, interrupted, ")) << run.err;
    }
}

TEST(Watch, EndsCleanlyWhenNobodyReads) {
    Process process({"watch", "host", "--every", "1ms"});
    process.ReadLine();
    process.CloseOutput();
    const Outcome run = process.Wait();
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(Contains(run.err, " samples read, output closed, ")) << run.err;
}

TEST(Watch, EndsWhenItsTimeIsOver) {
    Process process({"watch", "-", "--for", "10ms"});
    EXPECT_EQ(process.ReadLine(), "");
    const Outcome run = process.Wait();
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(Contains(run.err, "stream stdin: 0 samples read, 0 dropped")) << run.err;
}

TEST(Watch, ReadsTheFiguresOfThisMachine) {
    const Outcome run = RunTool(
        {"watch", "host", "--every", "5ms", "--for", "30ms", "--output", "ndjson", "--quiet"});
    ASSERT_EQ(run.status, 0) << run.err;
    std::istringstream lines(run.out);
    std::string line;
    int count = 0;
    for (; std::getline(lines, line); ++count) {
        const auto entries = ParseObject(line)->getObject("entries");
        EXPECT_EQ(entries->getArray("load")->size(), 3U);
        EXPECT_GT(entries->getValue<Poco::UInt64>("memory_available"), 0U);
        EXPECT_GE(entries->getValue<Poco::UInt64>("memory_total"),
                  entries->getValue<Poco::UInt64>("memory_available"));
        EXPECT_EQ(entries->getArray("network")->size(), 2U);
        char name[256] = {};
        gethostname(name, sizeof name - 1);
        EXPECT_EQ(entries->getValue<std::string>("hostname"), name);
        // One core is a number, several are an array.
        const auto cores = static_cast<std::size_t>(sysconf(_SC_NPROCESSORS_ONLN));
        ASSERT_EQ(entries->isArray("cpu"), cores > 1);
        for (std::size_t i = 0; cores > 1 && i < cores; ++i) {
            const auto share =
                entries->getArray("cpu")->getElement<double>(static_cast<unsigned int>(i));
            EXPECT_TRUE(share >= 0 && share <= 1) << share;
        }
    }
    EXPECT_GE(count, 1);
}

TEST(Watch, NeedsNoMoreMemoryForALongerTable) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers' own memory grows";
#endif
    std::string rows;
    for (int i = 0; i < 20'000; ++i)
        rows += "2020-01-01T00:00:00Z," + std::to_string(i) + ",some text that is not short\n";
    const std::string mark = "2020-01-01T00:00:00Z,-1,mark\n";
    Process process({"watch", "-", "--rule", "x == -1", "--quiet"});
    process.Write("time,x,s\n" + rows + mark);
    process.ReadLine();
    const long early = process.PeakMemory();
    ASSERT_GT(early, 0);
    // Ten times as much must fit into what was left unused.
    for (int i = 0; i < 10; ++i)
        process.Write(rows);
    process.Write(mark);
    EXPECT_EQ(process.ReadLine(), "2020-01-01T00:00:00Z stdin [x == -1] x=-1 s=mark");
    EXPECT_LT(process.PeakMemory() - early, 512) << "KiB";
    EXPECT_EQ(process.Wait().status, 0);
}

}  // namespace
}  // namespace velmora::tool
