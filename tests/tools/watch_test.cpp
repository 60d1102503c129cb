// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// How the program reads tables, and what it prints of them.

#include "process.h"

#include <Poco/JSON/Parser.h>
#include <Poco/RegularExpression.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace velmora::tool {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

const std::string good = "time,x\n2020-01-01,1\n";
const std::string twoRows = "time,x\n2020-01-01T00:00:00Z,1\n2020-01-01T00:00:01Z,5\n";

TEST(Watch, PrintsWhatMatchesAndSumsUp) {
    const Outcome one = RunTool("watch - --rule 'x > 2'", twoRows);
    EXPECT_EQ(one.out, "2020-01-01T00:00:01Z stdin [x > 2] x=5\n");
    EXPECT_THAT(one.err, testing::StartsWith("stream stdin: 2 samples read, 0 dropped from the "
                                             "ring of 1000\nrule [x > 2]: 1 match\n"));
    EXPECT_THAT(one.err, testing::EndsWith(" samples per second\n"));
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
    const std::pair<std::string, std::string> cases[] = {
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
    for (const auto& [line, message] : cases) {
        ExpectFailure(line, "tessaryn: " + message + "\n", twoRows);
    }
    EXPECT_THAT(RunTool("--version").out,
                MatchesRegex("tessaryn " TESSARYN_VERSION "( \\([0-9a-f]{8}(-dirty)?\\))?\n"));
    EXPECT_EQ(RunTool("watch --help").status, 0);
}

TEST(Watch, ReadsTheFiguresOfThisMachine) {
    const Outcome run = RunTool(
        "watch host --quiet --every 10ms --for 45ms --rule "
        "load[2]>=0&&cpu[0]>=0&&memory_total>0&&network[1]>=0");
    EXPECT_THAT(run.out,
                testing::MatchesRegex(
                    "([^ ]+Z host [^ ]+ load=.[^ ]+;[^ ]+;[^ ]+ cpu=[^ ]+ memory_total=[0-9]+ "
                    "memory_available=[0-9]+ network=.[0-9]+;[0-9]+. hostname=[^ ]+\n)+"));
}

TEST(Watch, NeedsNoMoreMemoryForALongerTable) {
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

// The entries of each line that was printed.
std::string EntriesOf(const Outcome& run) {
    std::string lines = run.out;
    Poco::RegularExpression(R"(\S+ stdin \[\*\])")
        .subst(lines, "", Poco::RegularExpression::RE_GLOBAL);
    return lines;
}

struct TableCase {
    std::string input;
    std::string arguments;
    std::string expected;
};

TEST(WatchInput, TellsColumnsFromHeaderAndFirstRows) {
    const TableCase cases[] = {
        // Later rows of the first ones count, too.
        {"a,t,b\n1,2020-01-01,y z\n.5,2020-01-02,5\n", "", " a=1 b=\"y z\"\n a=0.5 b=5\n"},
        {"time,a,b\n2020-01-01,18446744073709551616,-\n", "", " a=1.8446744073709552e+19 b=-\n"},
        {"a,b\n2020-01-01,1577836800\n", "--time b", " a=2020-01-01\n"},
        {"time,a,b,c:d\n2020-01-01,1,true,5\n", "--type a:Double --type b:bool --type c:d:String",
         " a=1 b=true c_d=5\n"},
        {"time,a,b\n2020-01-01,1;2;3,0.5 -1\n", "--type a:UInt8:3 --type b:Float:2",
         " a=[1;2;3] b=[0.5;-1]\n"},
        // Row names as R writes them, without or with a title, and a column of their name.
        {"\"time\",\"a\"\n\"1\",\"2020-01-01\",5\n\"2\",\"2020-01-02\",6\n", "",
         " row=1 a=5\n row=2 a=6\n"},
        {"\"\",\"time\",\"a\"\n\"1\",\"2020-01-01\",5\n", "", " row=1 a=5\n"},
        {"time,row\nr1,2020-01-01,5\n", "", " row_=r1 row=5\n"},
        {"time,CO2 level,2nd,\xC3\xA9t\xC3\xA9\n2020-01-01,1,2,3\n", "",
         " CO2_level=1 _2nd=2 _t_=3\n"},
        {"\xEF\xBB\xBF\"time\",a\r\n\r\n2020-01-01,1\r\n\r\n2020-01-02,2", "", " a=1\n a=2\n"},
        {"time,a,b\n2020-01-01,\"x,\"\"y\"\"\n z\", pad \n", "", " a=\"x,\\\"y\\\"\\n z\" b=pad\n"},
        {std::string("time,a\n2020-01-01,\x1b[2J\0\xff\xC2\x9B\xC3\xA9\n", 29), "",
         " a=\"\\x1b[2J\\x00\\xff\\xc2\\x9b\xC3\xA9\"\n"},
        {"time,a\n", "", ""},
    };
    for (const auto& each : cases) {
        const Outcome run = RunTool("watch - --quiet " + each.arguments, each.input);
        EXPECT_EQ(run.status, 0) << each.input << run.err;
        EXPECT_EQ(EntriesOf(run), each.expected) << each.input;
    }
}

TEST(WatchInput, NamesLineColumnAndReasonOfBadInput) {
    const TableCase cases[] = {
        {good + "2020-01-02\n", "", "3:2 (x): 1 field where the columns are 2"},
        {good + "2020-01-02,1,2\n", "", "3:3: 3 fields where the columns are 2"},
        {good + "2020-01-02,300\n", "--type x:Int8", "3:2 (x): '300' does not fit Int8"},
        {"time,x\n2020-01-01,1;2;\n", "--type x:Int8:3", "2:2 (x): '' is no whole number"},
        {good + "2020-02-30,1\n", "", "3:1 (time): '2020-02-30' is no time"},
        {"x,time\n\"a\nb\",2020-01-01\n\"c\nd\",never\n", "", "4:2 (time): 'never' is no time"},
        {good + "2020-01-02,a\"b\n", "", "3:2 (x): a quote inside a field that is not quoted"},
        {good + "2020-01-02,\"a\"b\n", "", "3:2 (x): the field goes on after its closing quote"},
        {good + "2020-01-02,\"a\n", "", "3:2 (x): the quote is not closed"},
        {good + "2020-01-02,\"" + std::string(2 << 20, 'a'), "",
         "3:2 (x): the row is longer than 1 MiB; is a quote not closed?"},
        {good + "2020-01-02,\x1b[2J\xff\n", "",
         "3:2 (x): '\\x1b[2J\\xff' is no whole number; --type 'x:String' reads texts"},
        {"", "", " there is no header, the file is empty"},
        {"time,,x\n2020-01-01,1,2\n", "", "1: column 2 has no name"},
        {"time,a b,a_b\n", "", "1: columns 2 and 3 would both be the entry 'a_b'"},
        {"a,b\n1,2\n", "",
         "1: no column holds times such as 2020-01-01T00:00:00Z; --time names a column of numbers "
         "that count from 1970"},
        {"time,x\n", "--time t", "1: there is no column 't' among 'time', 'x'"},
        {"time,x\n", "--type time:Int64 --time time",
         "1: the time column 'time' is no entry and has no type"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.expected);
        const Outcome run = RunTool("watch - --quiet " + each.arguments, each.input);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.err, "tessaryn: stdin:" + each.expected + "\n");
        // What came before the bad row was pushed, nothing of that row.
        EXPECT_EQ(run.out.empty(), each.expected[0] < '3');
        EXPECT_EQ(EntriesOf(run), run.out.empty()           ? ""
                                  : each.expected[0] == '3' ? " x=1\n"
                                                            : " x=\"a\\nb\"\n");
    }
}

TEST(WatchInput, SkipsAndCountsBadRowsWhenAsked) {
    const Outcome run =
        RunTool("watch - --skip-bad",
                good +
                    "never,2\n2020-01-03,a\"b\n2020-01-04\n2020-01-05,\"q\"z\n2020-01-06,abc\n"
                    "2020-01-07,7\n2020-01-08,\"open\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(EntriesOf(run), " x=1\n x=7\n");
    EXPECT_THAT(run.err, HasSubstr("stream stdin: 2 samples read, "));
    EXPECT_THAT(run.err, HasSubstr("6 bad rows skipped, the first: stdin:3:1 (time): "));
}

TEST(WatchInput, StartsWithTheFirstRowOfALiveSource) {
    Process process("watch - --quiet");
    process.Write(good);
    EXPECT_EQ(process.ReadLine(), "2020-01-01T00:00:00Z stdin [*] x=1");
    process.Write("2020-01-02,2\n2020-01-03,");
    EXPECT_EQ(process.ReadLine(), "2020-01-02T00:00:00Z stdin [*] x=2");
    process.Write("2.5\n");
    EXPECT_EQ(process.Wait().err,
              "tessaryn: stdin:4:2 (x): '2.5' is no whole number; --type 'x:Double' reads "
              "decimals\n");
}

}  // namespace
}  // namespace velmora::tool
