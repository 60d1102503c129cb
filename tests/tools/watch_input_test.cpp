// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// How the program reads tables.

#include "process.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmora::tool {
namespace {

using Arguments = std::vector<std::string>;

/// Watches standard input, without summary.
Outcome Watch(const std::string& input, const Arguments& more = {}) {
    Arguments arguments = {"watch", "-", "--quiet"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunTool(arguments, input);
}

/// The entries of each line that was printed.
std::string EntriesOf(const std::string& out) {
    std::string entries;
    for (std::size_t at = 0; at < out.size(); at = out.find('\n', at) + 1) {
        const std::size_t begin = out.find("[*]", at) + 3;
        entries += out.substr(begin, out.find('\n', at) + 1 - begin);
    }
    return entries;
}

struct TableCase {
    const char* name;
    std::string input;
    Arguments arguments;
    /// Entries of the lines that are printed.
    std::string entries;
};

TEST(WatchInput, TellsColumnsFromHeaderAndFirstRows) {
    const TableCase cases[] = {
        {"whole, decimal, text",
         "time,a,b,c\n2020-01-01,1,1.5,x\n2020-01-02,2,2,y z\n",
         {},
         " a=1 b=1.5 c=x\n a=2 b=2 c=\"y z\"\n"},
        {"a later decimal", "time,a\n2020-01-01,1\n2020-01-02,0.25\n", {}, " a=1\n a=0.25\n"},
        {"whole beyond 64 bits",
         "time,a\n2020-01-01,18446744073709551616\n",
         {},
         " a=1.8446744073709552e+19\n"},
        {"first text, then numbers",
         "time,a\n2020-01-01,n/a\n2020-01-02,5\n",
         {},
         " a=n/a\n a=5\n"},
        {"time in the middle", "a,when,b\n1,2020-01-01 00:00:00,2\n", {}, " a=1 b=2\n"},
        {"named time of numbers", "a,b\n1,1577836800\n", {"--time", "b"}, " a=1\n"},
        {"second time column by name",
         "a,b\n2020-01-01,2020-01-02\n",
         {"--time", "b"},
         " a=2020-01-01\n"},
        {"overridden types",
         "time,a,b,c:d\n2020-01-01,1,true,5\n",
         {"--type", "a:Double", "--type", "b:bool", "--type", "c:d:String"},
         " a=1 b=true c_d=5\n"},
        {"several elements",
         "time,a,b\n2020-01-01,1;2;3,0.5 -1\n",
         {"--type", "a:UInt8:3", "--type", "b:Float:2"},
         " a=[1;2;3] b=[0.5;-1]\n"},
        {"row names as R writes them",
         "\"time\",\"a\"\n\"1\",\"2020-01-01\",5\n\"2\",\"2020-01-02\",6\n",
         {},
         " row=1 a=5\n row=2 a=6\n"},
        {"a title for the row names",
         "\"\",\"time\",\"a\"\n\"1\",\"2020-01-01\",5\n",
         {},
         " row=1 a=5\n"},
        {"a column row beside the row names",
         "time,row\nr1,2020-01-01,5\n",
         {},
         " row_=r1 row=5\n"},
        {"titles that are no names",
         "time,CO2 level,2nd,\xC3\xA9t\xC3\xA9\n2020-01-01,1,2,3\n",
         {},
         " CO2_level=1 _2nd=2 _t_=3\n"},
        {"byte order mark, CRLF, empty lines, no last line end",
         "\xEF\xBB\xBF\"time\",a\r\n\r\n2020-01-01,1\r\n\r\n2020-01-02,2",
         {},
         " a=1\n a=2\n"},
        {"lone carriage returns", "time,a\r2020-01-01,1\r2020-01-02,2\r", {}, " a=1\n a=2\n"},
        {"quotes",
         "time,a,b\n2020-01-01,\"x,\"\"y\"\"\n z\", pad \n",
         {},
         " a=\"x,\\\"y\\\"\\n z\" b=pad\n"},
        {"control bytes and what is no UTF-8",
         std::string("time,a\n2020-01-01,\x1b[2J\0\xff\xC2\x9B\xC3\xA9\n", 29),
         {},
         " a=\"\\x1b[2J\\x00\\xff\\xc2\\x9b\xC3\xA9\"\n"},
        {"header only", "time,a\n", {}, ""},
    };
    for (const TableCase& each : cases) {
        const Outcome run = Watch(each.input, each.arguments);
        EXPECT_EQ(run.status, 0) << each.name << ": " << run.err;
        EXPECT_EQ(EntriesOf(run.out), each.entries) << each.name;
    }
}

struct BadCase {
    const char* name;
    std::string input;
    Arguments arguments;
    std::string message;
    /// Rows that come before the bad one.
    std::string entries;
};

TEST(WatchInput, NamesLineColumnAndReasonOfBadInput) {
    const std::string good = "time,x\n2020-01-01,1\n";
    const BadCase cases[] = {
        {"too few fields",
         good + "2020-01-02\n",
         {},
         "stdin:3:2 (x): 1 field where the columns are 2",
         " x=1\n"},
        {"too many fields",
         good + "2020-01-02,1,2\n",
         {},
         "stdin:3:3: 3 fields where the columns are 2",
         " x=1\n"},
        {"too many fields in the only row",
         "time,x\n2020-01-02,1,2\n",
         {},
         "stdin:2:3: 3 fields where the columns are 2",
         ""},
        {"no number",
         good + "2020-01-02,abc\n",
         {},
         "stdin:3:2 (x): 'abc' is no whole number; --type 'x:String' reads texts",
         " x=1\n"},
        {"no value",
         good + "2020-01-02,\n",
         {},
         "stdin:3:2 (x): '' is no whole number; --type 'x:String' reads texts",
         " x=1\n"},
        {"out of range",
         good + "2020-01-02,300\n",
         {"--type", "x:Int8"},
         "stdin:3:2 (x): '300' does not fit Int8",
         " x=1\n"},
        {"too few elements",
         "time,x\n2020-01-01,1;2\n",
         {"--type", "x:Int8:3"},
         "stdin:2:2 (x): 2 elements where 3 are expected",
         ""},
        {"an empty element",
         "time,x\n2020-01-01,1;;2\n",
         {"--type", "x:Int8:3"},
         "stdin:2:2 (x): '' is no whole number",
         ""},
        {"no time",
         good + "2020-02-30,1\n",
         {},
         "stdin:3:1 (time): '2020-02-30' is no time",
         " x=1\n"},
        {"no time in the only row",
         "x,time\n1,yesterday\n",
         {},
         "stdin:2:2 (time): 'yesterday' is no time",
         ""},
        {"a row after one of two lines",
         "time,x\n2020-01-01,\"a\nb\"\n2020-01-02\n",
         {},
         "stdin:4:2 (x): 1 field where the columns are 2",
         " x=\"a\\nb\"\n"},
        {"a row of two lines",
         "x,time\n\"a\nb\",never\n",
         {},
         "stdin:2:2 (time): 'never' is no time",
         ""},
        {"a quote in a field",
         good + "2020-01-02,a\"b\n",
         {},
         "stdin:3:2 (x): a quote inside a field that is not quoted",
         " x=1\n"},
        {"text after a quoted field",
         good + "2020-01-02,\"a\"b\n",
         {},
         "stdin:3:2 (x): the field goes on after its closing quote",
         " x=1\n"},
        {"an open quote",
         good + "2020-01-02,\"a\n",
         {},
         "stdin:3:2 (x): the quote is not closed",
         " x=1\n"},
        {"a row without end",
         good + "2020-01-02,\"" + std::string(2 << 20, 'a'),
         {},
         "stdin:3:2 (x): the row is longer than 1 MiB; is a quote not closed?",
         " x=1\n"},
        {"bytes for a terminal",
         good + "2020-01-02,\x1b[2J\xff\n",
         {},
         "stdin:3:2 (x): '\\x1b[2J\\xff' is no whole number; --type 'x:String' reads texts",
         " x=1\n"},
        {"nothing", "", {}, "stdin: there is no header, the file is empty", ""},
        {"a column without name",
         "time,,x\n2020-01-01,1,2\n",
         {},
         "stdin:1: column 2 has no name",
         ""},
        {"two columns of one name",
         "time,a b,a_b\n2020-01-01,1,2\n",
         {},
         "stdin:1: columns 2 and 3 would both be the entry 'a_b'",
         ""},
        {"no times",
         "a,b\n1,2\n",
         {},
         "stdin:1: no column holds times such as 2020-01-01T00:00:00Z; --time names a column of "
         "numbers that count from 1970",
         ""},
        {"unknown time column",
         good,
         {"--time", "t"},
         "stdin:1: there is no column 't' among 'time', 'x'",
         ""},
        {"unknown typed column",
         good,
         {"--type", "y:Int8"},
         "stdin:1: there is no column 'y' among 'time', 'x'",
         ""},
        {"a type for the time column",
         good,
         {"--type", "time:Int64", "--time", "time"},
         "stdin:1: the time column 'time' is no entry and has no type",
         ""},
    };
    for (const BadCase& each : cases) {
        const Outcome run = Watch(each.input, each.arguments);
        EXPECT_EQ(run.status, 2) << each.name;
        EXPECT_EQ(run.err, "tessaryn: " + each.message + "\n") << each.name;
        EXPECT_EQ(EntriesOf(run.out), each.entries) << each.name;
    }
}

TEST(WatchInput, SkipsAndCountsBadRowsWhenAsked) {
    const std::string input =
        "time,x\n2020-01-01,1\nnever,2\n2020-01-03,a\"b\n2020-01-04\n2020-01-05,\"q\"z\n"
        "2020-01-06,abc\n2020-01-07,7\n2020-01-08,\"open\n";
    const Outcome run = RunTool({"watch", "-", "--skip-bad"}, input);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(EntriesOf(run.out), " x=1\n x=7\n");
    EXPECT_NE(run.err.find("stream stdin: 2 samples read, "), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("6 bad rows skipped, the first: stdin:3:1 (time): 'never' is no time\n"),
              std::string::npos)
        << run.err;
}

TEST(WatchInput, StartsWithTheFirstRowOfALiveSource) {
    Process process({"watch", "-", "--quiet"});
    process.Write("time,x\n2020-01-01,1\n");
    EXPECT_EQ(process.ReadLine(), "2020-01-01T00:00:00Z stdin [*] x=1");
    process.Write("2020-01-02,2\n2020-01-03,");
    EXPECT_EQ(process.ReadLine(), "2020-01-02T00:00:00Z stdin [*] x=2");
    process.Write("2.5\n");
    const Outcome run = process.Wait();
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err,
              "tessaryn: stdin:4:2 (x): '2.5' is no whole number; --type 'x:Double' reads "
              "decimals\n");
}

}  // namespace
}  // namespace velmora::tool
