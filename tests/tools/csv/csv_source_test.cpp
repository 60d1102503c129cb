// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"

#include <Poco/DeflatingStream.h>
#include <Poco/RegularExpression.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace velmora::tool {
namespace {

using testing::HasSubstr;

const std::string good = "time,x\n2020-01-01,1\n";

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
    std::string output;
    std::string error{};
};

TEST(CsvSource, InfersColumnsFromHeaderAndFirstRows) {
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
        // Separators, decimal commas, comments and lines above the header.
        {"time;a;b\n2020-01-01;1,5;2,25\n", "", " a=1.5 b=2.25\n"},
        {"time\ta\n2020-01-01\t1,234\n2020-01-02\tx y\n", "", " a=1,234\n a=\"x y\"\n"},
        {"time|a\n2020-01-01|1,25\n", "", " a=1.25\n"},
        {"Rig 3;;\n# made by hand\n\ntime;a;b\n2020-01-01;1;2\n# a comment\n2020-01-02;3;4\n", "",
         " a=1 b=2\n a=3 b=4\n"},
        {"# time,a\n2020-01-01,1\n", "", " a=1\n"},
        {"time,a\n2020-01-01,1\ntime,a\n2020-01-02,2\n", "", " a=1\n a=2\n"},
        // Missing values, which rules do not see, and units.
        {"time,a,b,s\n2020-01-01,1.5,-,\n2020-01-02,NaN,NA,-\n2020-01-03,null,2,x\n", "",
         " a=1.5 b=- s=\"\"\n a=- b=- s=-\n a=- b=2 s=x\n"},
        {"time,Temp (\xC2\xB0"
         "C),p [bar],p (psi)\n2020-01-01,1,2,3\n",
         "",
         " Temp=1\xC2\xB0"
         "C p__bar_=2bar p__psi_=3psi\n"},
        {"time,a,b\n2020-01-01,1,2\n", "--columns b", " b=2\n"},
        // JSON lines, also those that the program writes.
        {"{\"time\":\"2020-01-01\",\"a\":{\"b\":1.5,\"c\":true},\"d\":[1,2]}\n\n"
         "{\"d\":[],\"time\":\"2020-01-02\",\"e\":\"x\"}\n",
         "", " a_b=1.5 a_c=true d=[1;2] e=\"\"\n a_b=- a_c=- d=- e=x\n"},
        {"{\"time\":\"2020-01-01\",\"stream\":\"stdin\",\"rule\":\"*\",\"entries\":{\"a\":1},"
         "\"units\":{\"a\":\"bar\"}}\n",
         "", " a=1bar\n"},
        // Escapes in names and values, true and null in arrays, members that come twice or in
        // another order.
        {R"({"time":"2020-01-01","x\\":1,"a\"b":"q\u00e9\"","l":[true,null,2],"w":true,"w":3})"
         "\n"
         R"({"w":1,"l":[7],"a\"b":"","x\\":2,"time":"2020-01-02"})"
         "\n",
         "--type l:String",
         " x_=1 a_b=\"q\xC3\xA9\\\"\" l=\"true;;2\" w=3\n"
         " x_=2 a_b=\"\" l=7 w=1\n"},
        {R"({"time":"2020-01-01","l":[1,2],"m":[true,false],"l":[3,4,5]})"
         "\n",
         "--type l:Double:3 --type m:Bool:2", " l=[3;4;5] m=[true;false]\n"},
    };
    for (const auto& each : cases) {
        const Outcome run = RunTool("watch - --quiet " + each.arguments, each.input);
        EXPECT_EQ(run.status, 0) << each.input << run.err;
        EXPECT_EQ(EntriesOf(run), each.output) << each.input;
    }
}

TEST(CsvSource, NamesLineColumnAndReasonOfBadInput) {
    const std::string x1 = " x=1\n";
    std::string manyColumns = "time";
    for (int i = 0; i < 65'536; ++i) {
        manyColumns += ",c" + std::to_string(i);
    }
    const TableCase cases[] = {
        {good + "2020-01-02\n", "", x1, "3:2 (x): 1 field, expected 2"},
        {good + "2020-01-02,1,2\n", "", x1, "3:3: 3 fields, expected 2"},
        {good + "2020-01-02,300\n", "--type x:Int8", x1, "3:2 (x): '300' is out of range for Int8"},
        {"time,x\n2020-01-01,1;2;\n", "--type x:Int8:3", "", "2:2 (x): '' is not an integer"},
        {good + "2020-02-30,1\n", "", x1, "3:1 (time): '2020-02-30' is not a timestamp"},
        {"x,time\n\"a\nb\",2020-01-01\n\"c\nd\",never\n", "", " x=\"a\\nb\"\n",
         "4:2 (time): 'never' is not a timestamp"},
        {good + "2020-01-02,a\"b\n", "", x1, "3:2 (x): a quote inside a field without quotes"},
        {good + "2020-01-02,\"a\"b\n", "", x1, "3:2 (x): text after the closing quote of a field"},
        {good + "2020-01-02,\"a\n", "", x1, "3:2 (x): the quote is not closed"},
        {good + "2020-01-02,\"" + std::string(2 << 20, 'a'), "", x1,
         "3:2 (x): the row is longer than 1 MiB; is a quote not closed?"},
        {good + "2020-01-02,\x1b[2J\xff\n", "", x1,
         "3:2 (x): '\\x1b[2J\\xff' is not an integer; --type 'x:String' reads texts"},
        {"", "", "", " the input is empty, expected a header"},
        {"time,,x\n2020-01-01,1,2\n", "", "", "1: column 2 has no title"},
        {"time,a b,a_b\n", "", "", "1: columns 2 and 3 have the same entry name 'a_b'"},
        {"a,b\n1,2\n", "", "",
         "1: no column holds times such as 2020-01-01T00:00:00Z; --time selects a column of "
         "numbers that count from 1970, --start one of seconds from a start, and --every gives the "
         "rows times"},
        {manyColumns, "", "", "1: 65537 columns, allowed are 65536"},
        {"time,x\n", "--time t", "", "1: there is no column 't'; the columns are 'time', 'x'"},
        {"time,x\n2020-01-01,1\n", "--type time:Int8", "",
         "1: no column holds times such as 2020-01-01T00:00:00Z; --time selects a column of "
         "numbers that count from 1970, --start one of seconds from a start, and --every gives the "
         "rows times"},
        {"time,x\n", "--type time:Int64 --time time", "",
         "1: --type gives a type to the time column 'time'"},
        {"when,x\n29.03.2026,1\n", "", "",
         "1: column 'when' holds dates such as '29.03.2026': --dates day-first or --dates "
         "month-first reads them"},
        {"{\"time\":\"2020-01-01\",\"x\":1}\n{\"time\":1,,}\n", "", "",
         "2:3: Missing a name for object member at byte 11, ',}'"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.error);
        const Outcome run = RunTool("watch - --quiet " + each.arguments, each.input);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.err, "tessaryn: stdin:" + each.error + "\n");
        EXPECT_EQ(EntriesOf(run), each.output);
    }
}

TEST(CsvSource, SkipsAndCountsBadRowsWhenAsked) {
    const Outcome run =
        RunTool("watch - --skip-bad",
                good +
                    "never,2\n2020-01-03,a\"b\n2020-01-04\n2020-01-05,\"q\"z\n2020-01-06,abc\n"
                    "2020-01-07,7\n2020-01-08,\"open\n");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(EntriesOf(run), " x=1\n x=7\n");
    EXPECT_THAT(run.err, HasSubstr("stream stdin: 2 samples read\n"));
    EXPECT_THAT(run.err, HasSubstr("6 bad rows skipped, the first: stdin:3:1 (time): "));
}

TEST(CsvSource, NamesTheFirstOfManyFaults) {
    const std::string bad = R"({"time":"2020-01-01","x":"no end of a text)";
    std::string lines = R"({"time":"2020-01-01","x":"a"})";
    lines += "\n" + bad + "\n";
    const Outcome failed = RunTool("watch -", lines);
    EXPECT_EQ(failed.status, 2);
    const std::string reason = failed.err.substr(failed.err.find("stdin:2:"));
    EXPECT_THAT(reason, HasSubstr("quotation mark"));
    for (int i = 0; i < 20; ++i) {
        lines += "{" + std::string(static_cast<std::size_t>(i), ' ') + "1}\n";
    }
    EXPECT_THAT(RunTool("watch - --skip-bad", lines).err,
                HasSubstr("21 bad rows skipped, the first: " + reason));
}

TEST(CsvSource, ReadsTimesAsAsked) {
    const struct {
        std::string input;
        std::string arguments;
        std::string times;
    } cases[] = {
        {"t,x\n29.03.2026 01:59,1\n29.3.2026 03:00:00.5,2\n",
         "--dates day-first --zone Europe/Berlin",
         "2026-03-29T00:59:00Z 2026-03-29T01:00:00.500Z "},
        // The hour that a clock shows twice, and printing in a zone.
        {"t,x\n2026-10-25 02:30,1\n2026-10-25 02:10,2\n2026-10-25T00:40:00Z,3\n",
         "--zone Europe/Berlin --out-zone Europe/Berlin",
         "2026-10-25T02:30:00+02:00 2026-10-25T02:10:00+01:00 2026-10-25T02:40:00+02:00 "},
        {"t,x\n03/29/2026 11:30 PM,1\n3/30/2026 12:05 AM,2\n", "--dates month-first",
         "2026-03-29T23:30:00Z 2026-03-30T00:05:00Z "},
        {"date,clock,x\n2020-01-01,8:05,1\n2020-01-01,23:59:59.25,2\n", "",
         "2020-01-01T08:05:00Z 2020-01-01T23:59:59.250Z "},
        {"t;x\n0,00;1\n0,01;2\n", "--start 2020-01-01",
         "2020-01-01T00:00:00Z 2020-01-01T00:00:00.010Z "},
        {"x,y\n1,2\n3,4\n", "--every 10ms --start 2020-01-01T00:00:01Z",
         "2020-01-01T00:00:01Z 2020-01-01T00:00:01.010Z "},
        {"t,x\n2020-01-01,1\n2020-01-02,2\n2020-01-03,3\n", "--since 2020-01-02 --until 2020-01-03",
         "2020-01-02T00:00:00Z "},
    };
    for (const auto& each : cases) {
        const Outcome run = RunTool("watch - --quiet " + each.arguments, each.input);
        std::string times = run.out;
        Poco::RegularExpression(R"( stdin.*\n)")
            .subst(times, " ", Poco::RegularExpression::RE_GLOBAL);
        EXPECT_EQ(times, each.times) << each.input << run.err;
    }
    EXPECT_THAT(RunTool("watch -", "time,x\n2020-01-02,1\n,2\n2020-01-02,-\n2020-01-01,\n").err,
                HasSubstr(": 3 samples read, 1 time out of order, 1 time repeated\nrule [*]: 3 "
                          "matches\n2 missing values\n1 row without a time left out\n"));
}

TEST(CsvSource, ReadsRowsBeforeTheFirstWithAText) {
    const std::string lines = R"({"time":"2020-01-01","a":1}
{"time":"2020-01-02"}
{"time":"2020-01-03","a":2}
{"time":"2020-01-04","b":"x"}
)";
    EXPECT_EQ(EntriesOf(RunTool("watch -", lines)),
              " a=1 b=\"\"\n a=- b=\"\"\n a=2 b=\"\"\n a=- b=x\n");
}

TEST(CsvSource, ReadsRowsOfManyStreamsWithAndWithoutValues) {
    constexpr int streams = 20;
    constexpr int rounds = 12;
    // Values of other types than these have another way into the samples.
    for (const std::string types : {"", "--type b:Int8"}) {
        std::string table = "time,dev,a,b,c\n2020-01-01,d0,0.5,1,x\n";
        std::string wanted = "2020-01-01T00:00:00Z d0 [*] a=0.5 b=1 c=x\n";
        std::uint64_t missing = 0;
        for (int i = 0; i < streams * rounds; ++i) {
            const std::string stream = "d" + std::to_string(i % streams);
            const std::string a = i % 3 == 0 ? "" : std::to_string(i) + ".25";
            const std::string b = i % 7 < 3 ? "-" : std::to_string(i % 100);
            const std::string c(static_cast<std::size_t>(i % 5), 'x');
            table += "2020-01-01," + stream + "," + a + "," + b + "," + c + "\n";
            wanted += "2020-01-01T00:00:00Z " + stream + " [*] a=" + (a.empty() ? "-" : a) +
                      " b=" + b + " c=" + (c.empty() ? "\"\"" : c) + "\n";
            missing += (a.empty() ? 1U : 0U) + (b == "-" ? 1U : 0U) + (c.empty() ? 1U : 0U);
        }
        const Outcome run = RunTool("watch - --stream-by dev " + types, table);
        EXPECT_EQ(run.out, wanted);
        EXPECT_THAT(run.err, HasSubstr("\n" + std::to_string(missing) + " missing values\n"));
    }
}

TEST(DocumentSource, ReadsDocumentsPackedAndFromAPipe) {
    const Folder folder;
    for (const std::string ending : {".json", ".xml"}) {
        const std::string file = folder.PathOf("d" + ending);
        ASSERT_EQ(RunTool("watch - --quiet --save " + file, good).status, 0);
        const std::string document = folder.Read("d" + ending);
        const std::string line = "2020-01-01T00:00:00Z stdin [*] x=1\n";
        EXPECT_EQ(RunTool("watch --quiet -", document).out, line);
        {
            std::ofstream out(file + ".gz", std::ios::binary);
            Poco::DeflatingOutputStream packed(out, Poco::DeflatingStreamBuf::STREAM_GZIP);
            packed << document;
            packed.close();
        }
        EXPECT_EQ(RunTool("watch --quiet " + file + ".gz").out, line);
        const std::string table = folder.PathOf("t.csv");
        EXPECT_EQ(RunTool("convert " + file + ".gz " + table).status, 0);
        EXPECT_EQ(folder.Read("t.csv"), "time,x\n2020-01-01T00:00:00Z,1\n");
        ExpectFailure("watch --quiet -", "tessaryn: stdin: The ",
                      document.substr(0, document.size() / 2));
    }
}

TEST(CsvSource, ReadsSeveralFilesPackedOrNot) {
    const Folder folder;
    std::ostringstream sink;
    Poco::DeflatingOutputStream gzip(sink, Poco::DeflatingStreamBuf::STREAM_GZIP);
    gzip << "time,x\n2020-01-01,1\n";
    gzip.close();
    folder.Write("a.csv.gz", sink.str() + sink.str());
    folder.Write("b.csv", "time,x\n2020-01-02,2\n");
    const std::string glob = "watch --quiet '" + folder.PathOf("*.csv*") + "'";
    EXPECT_THAT(RunTool(glob).out,
                "2020-01-01T00:00:00Z a [*] x=1\n2020-01-01T00:00:00Z a [*] x=1\n"
                "2020-01-02T00:00:00Z b [*] x=2\n");
    EXPECT_THAT(RunTool(glob + " --as rig --rule x>1").out, "2020-01-02T00:00:00Z rig [x>1] x=2\n");
    EXPECT_EQ(
        RunTool("watch - --quiet --stream-by d", "time,d,x\n2020-01-01,p,1\n2020-01-01,q,2\n").out,
        "2020-01-01T00:00:00Z p [*] x=1\n2020-01-01T00:00:00Z q [*] x=2\n");
    ExpectFailure("watch -", "stdin: the compressed data is cut off", sink.str().substr(0, 20));
    ExpectFailure("watch -", "stdin looks like Parquet, which is not read: ", "PAR1....");
    ExpectFailure("watch -", "stdin looks like tar, which", std::string(257, 'a') + "ustar....");
    ExpectFailure("watch -", "stdin looks like binary data, which", "ELF\x02,time\n");
    folder.Write("c.csv", "time,x\n2020-01-02,2.5\n");
    const Outcome mixed = RunTool(glob + " --as rig");
    EXPECT_THAT(mixed.err,
                HasSubstr("entry 1 is 'x' of type Double, but in stream 'rig' 'x' of type "
                          "Int64; --type NAME:TYPE"));
}

TEST(CsvSource, FollowsAFileThroughRotation) {
    const Folder folder;
    const std::string file = folder.Write("log.csv", "time,x\n2020-01-01,1\n2020-01-02,2");
    Process process("watch --quiet --follow " + file);
    EXPECT_THAT(process.ReadLine(), testing::EndsWith(" x=1"));
    std::ofstream(file, std::ios::app) << "0\n";
    EXPECT_THAT(process.ReadLine(), testing::EndsWith(" x=20"));
    rename(file.c_str(), folder.PathOf("log.csv.1").c_str());
    folder.Write("log.csv", "time,x\n2020-01-03,3\n");
    EXPECT_THAT(process.ReadLine(), testing::EndsWith(" x=3"));
    kill(process.GetId(), SIGTERM);
    EXPECT_EQ(process.Wait().status, 0);
}

TEST(CsvSource, StartsWithTheFirstRowOfALiveSource) {
    Process process("watch - --quiet");
    process.Write(good);
    EXPECT_EQ(process.ReadLine(), "2020-01-01T00:00:00Z stdin [*] x=1");
    process.Write("2020-01-02,2\n2020-01-03,");
    EXPECT_EQ(process.ReadLine(), "2020-01-02T00:00:00Z stdin [*] x=2");
    process.Write("2.5\n");
    EXPECT_EQ(process.Wait().err,
              "tessaryn: stdin:4:2 (x): '2.5' is not an integer; --type 'x:Double' reads "
              "such numbers\n");
}

}  // namespace
}  // namespace velmora::tool
