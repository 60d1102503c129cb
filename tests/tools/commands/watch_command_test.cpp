// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"

#include <Poco/JSON/Parser.h>
#include <Poco/RegularExpression.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <thread>

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
    EXPECT_THAT(one.err, StartsWith("stream stdin: 2 samples read\nrule [x > 2]: 1 match\n"));
    EXPECT_THAT(one.err, EndsWith(" samples per second\n"));
    EXPECT_THAT(RunTool("watch - --rule x>2", good).err, HasSubstr(": 1 sample read\n"));
    const Outcome several = RunTool(
        "watch - --rule x==5 --rule pushed() --rule x<0 --stream "
        "'two words'",
        twoRows);
    EXPECT_EQ(several.out,
              "2020-01-01T00:00:00Z \"two words\" [pushed()] x=1\n"
              "2020-01-01T00:00:01Z \"two words\" [x==5] x=5\n"
              "2020-01-01T00:00:01Z \"two words\" [pushed()] x=5\n");
    EXPECT_THAT(several.err, HasSubstr(": 2 samples read\nrule [x==5]: 1 match\n"
                                       "rule [pushed()]: 2 matches\nrule [x<0]: 0 matches\n"));
}

// Many rules are subscriptions to a stream, few are evaluated without one.
TEST(WatchCommand, ReportsTheSameForFewAndManyRules) {
    std::string rows = "time,x,s\n";
    for (int i = 0; i < 200; ++i) {
        rows += "2020-01-01T00:0" + std::to_string(i / 60) + ":" + (i % 60 < 10 ? "0" : "") +
                std::to_string(i % 60) + "," + (i % 7 == 0 ? "-" : std::to_string(i % 20)) +
                (i % 5 == 0 ? ",a\n" : ",bb\n");
    }
    const std::string rule = "watch - --quiet --rule 'x > 15 && s == \"bb\"'";
    std::string never;
    for (int i = 0; i < 20; ++i) {
        never += " --rule x==" + std::to_string(1000 + i);
    }
    for (const char* const how : {"", " --events", " --edges", " --hold 2s", " --at-most 1/30s",
                                  " --before 2s --after 1s", " --on-change x"}) {
        const Outcome few = RunTool(rule + how, rows);
        EXPECT_EQ(RunTool(rule + how + never, rows).out, few.out) << how;
        EXPECT_NE(few.out, "") << how;
    }
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
    const Outcome run = RunTool(
        "watch - --allow-unknown --type x:Int8 --rule 'y > 1 || x == 300' --rule x>2", twoRows);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "2020-01-01T00:00:01Z stdin [x>2] x=5\n");
    const std::string beginning = "tessaryn: warning: rule 'y > 1 || x == 300': The ";
    EXPECT_THAT(run.err,
                StartsWith(beginning + "stream type has no entry 'y'\n" +
                           "  y > 1 || x == 300\n  ^\n" + beginning +
                           "literal '300' does not convert to Int8: the comparison never holds\n" +
                           "  y > 1 || x == 300\n                ^~~ Int8 holds -128 to 127\n"));
    ExpectFailure("watch - --rule y>1",
                  "no entry 'y'; the entries are 'x'; --allow-unknown permits another", twoRows);
}

TEST(WatchCommand, ReportsABadCommandLine) {
    const std::pair<std::string, std::string> cases[] = {
        {"wach", "there is no command 'wach'; did you mean 'watch'?; tessaryn --help lists them"},
        {"watch - --rulle x>1", "there is no option '--rulle'; did you mean '--rule'?"},
        {"--config no/such.toml watch -", "no/such.toml was not readable"},
        {"watch no/such.csv", "cannot open 'no/such.csv': No such file or directory"},
        {"watch - --rule 'x = 5'",
         "rule 'x = 5': Expected: '(', '[' or '.'\n  x = 5\n    ^ write '==' instead of '='"},
        {"watch - --rule ''", "rule '' is empty"},
        {"watch - --max-size 0", "A stream cannot keep 0 samples: allowed are 1 to 2147483647."},
        {"watch - --for soon", "--for 'soon' is not a duration such as 250ms, 3s, 2m or 1h"},
        {"watch - --events", "--events and --edges need a rule"},
        {"watch - --rule x>1 --events --on-change x", "--on-change and --deadband are for rows"},
        {"watch - --rule x>1 --hold 1s --edges", "--hold is for rows and for --events"},
        {"watch - --at-most 3", "--at-most '3' is not a number of lines in a duration"},
        {"watch - --deadband x", "--deadband 'x' is not an entry and a limit"},
        {"watch - --zone Europe/Berlim",
         "there is no time zone 'Europe/Berlim'; did you mean 'Europe/Berlin'?"},
        {"watch - --since noon", "--since 'noon' is not a time such as"},
        {"watch - --keep matches", "--keep needs --save"},
        {"watch - --rules /dev/null", "/dev/null: there is no rule"},
        {"watch - --type x:Int9", "--type 'x:Int9': there is no type 'Int9'"},
        {"watch - --rule= --quiet", "--rule= has no value"},
        {"watch - --type x:Int8:0", "--type 'x:Int8:0': COUNT must be 1 to 65535"},
    };
    for (const auto& [line, message] : cases) {
        ExpectFailure(line, "tessaryn: " + message, twoRows);
    }
    EXPECT_THAT(RunTool("--version").out,
                MatchesRegex("tessaryn " TESSARYN_VERSION "( \\([0-9a-f]{8}(-dirty)?\\))?\n"));
    for (const char* const line : {"", "help", "--help"}) {
        EXPECT_EQ(RunTool(line).out, RunTool("help").out) << line;
    }
    EXPECT_EQ(RunTool("help watch").out, RunTool("watch --help").out);
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
    // Ten times the input must fit into the memory that was left.
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
            // The input stays open, so only the signal ends the run.
            EXPECT_EQ(process.ReadLine(), "");
        }
        const Outcome run = process.Wait();
        EXPECT_EQ(run.status, signal == 0 ? 141 : 0);
        EXPECT_THAT(run.err, HasSubstr(signal == 0 ? "\noutput closed\n" : "\ninterrupted\n"));
        EXPECT_THAT(RunTool("show " + file + " stdin").out, HasSubstr("stdin  type stdin 1.0.0"));
        folder.Write("m.json", "old");
    }
    RunTool("watch - --save " + file, "time,x\n2020-01-01,1\n2020-01-01\n");
    EXPECT_EQ(folder.Read("m.json"), "old");
    // The time is over before any input arrives: nothing was opened.
    Process process("watch - --for 0.001ms --save " + file);
    EXPECT_EQ(process.ReadLine(), "");
    EXPECT_THAT(process.Wait().err, StartsWith("rule [*]: 0 matches\n"));
    EXPECT_EQ(folder.Read("m.json"), "old");
}

// A value a second, from 2020-01-01T00:00:00Z on.
std::string Seconds(std::initializer_list<int> values) {
    std::string rows = "time,x\n";
    int second = 0;
    for (const int value : values) {
        rows +=
            "2020-01-01T00:00:0" + std::to_string(second++) + "Z," + std::to_string(value) + "\n";
    }
    return rows;
}

TEST(WatchCommand, ReportsEventsAndThinsOutRows) {
    const std::string input = Seconds({0, 5, 6, 0, 9, 0, 5, 7, 7, 1});
    const struct {
        std::string arguments;
        // The part of each line that the pattern captures.
        std::string output;
    } cases[] = {
        {"--events --rule 'high: x > 4'",
         ":01 high until :02 (1s, 2 rows) x_min=5 x_max=6\n:04 high until :04 (0s, 1 row) x_min=9 "
         "x_max=9\n:06 high until :08 (2s, 3 rows) x_min=5 x_max=7\n"},
        {"--events --rule x>4 --hold 2s", ":06 x>4 until :08 (2s, 3 rows) x_min=5 x_max=7\n"},
        {"--events --rule x>8 --before 1s --after 2s",
         ":03 x>8: before x=0\n:04 x>8 until :04 (0s, 1 row) x_min=9 x_max=9\n:05 x>8: after "
         "x=0\n:06 x>8: after x=5\n"},
        {"--edges --rule x>6",
         ":04 x>6: begin x=9\n:05 x>6: end x=0\n:07 x>6: begin x=7\n:09 x>6: "
         "end x=1\n"},
        {"--rule x>4 --hold 1s", ":02 x>4 x=6\n:07 x>4 x=7\n"},
        {"--rule x>4 --at-most 1/4s", ":01 x>4 x=5\n:04 x>4 x=9\n:08 x>4 x=7\n"},
        {"--rule x>6 --on-change x", ":04 x>6 x=9\n:07 x>6 x=7\n"},
        {"--deadband x:4.5",
         ":00 * x=0\n:01 * x=5\n:03 * x=0\n:04 * x=9\n:05 * x=0\n:06 * "
         "x=5\n"},
        {"--rule x>8 --before 2s --after 1s",
         ":02 x>8: before x=6\n:03 x>8: before x=0\n:04 x>8 "
         "x=9\n:05 x>8: after x=0\n"},
    };
    for (const auto& [arguments, output] : cases) {
        const Outcome run = RunTool("watch - --quiet " + arguments, input);
        std::string lines = run.out;
        Poco::RegularExpression(R"(2020-01-01T00:00(:\d\d)Z)")
            .subst(lines, "$1", Poco::RegularExpression::RE_GLOBAL);
        Poco::RegularExpression(R"(stdin \[([^]]*)\])")
            .subst(lines, "$1", Poco::RegularExpression::RE_GLOBAL);
        EXPECT_EQ(lines, output) << arguments << run.err;
        EXPECT_EQ(run.status, 0);
    }
    EXPECT_EQ(RunTool("watch - --quiet --rule x>4 --events --output ndjson", Seconds({5, 3})).out,
              R"({"time":"2020-01-01T00:00:00Z","stream":"stdin","rule":"x>4",)"
              R"("end":"2020-01-01T00:00:00Z","seconds":0,"rows":1,)"
              R"("entries":{"x_min":5,"x_max":5}})"
              "\n");
    EXPECT_EQ(RunTool("watch - --quiet --rule x>9", input).status, 1);
}

TEST(WatchCommand, ReadsOptionsFromAFile) {
    const Folder folder;
    const std::string file = folder.Write(
        "tessaryn.toml", "[watch]\nquiet = true\nrule = [\"high: x > 4\", \"x < 1\"]\n");
    EXPECT_EQ(RunTool("watch - --config " + file, Seconds({0, 5})).out,
              "2020-01-01T00:00:00Z stdin [x < 1] x=0\n2020-01-01T00:00:01Z stdin [high] x=5\n");
    ExpectFailure("watch - --config " + folder.Write("bad.toml", "[watch]\nrulle = 1\n"),
                  "watch.rulle");
}

TEST(WatchCommand, KeepsWhatItReported) {
    const Folder folder;
    const std::string rules = folder.Write("rules", "# of the rig\n\nhigh: x > 4\nlow: x < 1\n");
    const std::string file = folder.PathOf("m.json");
    const std::string line = "watch - --quiet --rules " + rules + " --save " + file + " --keep ";
    RunTool(line + "matches", Seconds({0, 2, 6, 3, 7, 8}));
    EXPECT_EQ(RunTool("watch --quiet " + file + " --rule x>6 --columns x").out,
              "2020-01-01T00:00:04Z stdin [x>6] x=7\n2020-01-01T00:00:05Z stdin [x>6] x=8\n");
    EXPECT_THAT(RunTool("show " + file).out, HasSubstr("  4 of at most 1000000 samples\n"));
    // Rows before and after are kept, too, each once whichever rules select it.
    const auto keptOf = [&](const std::string& options) {
        const std::string rows = "watch - --quiet --save " + file + " --keep matches " + options;
        EXPECT_EQ(RunTool(rows, Seconds({0, 1, 2, 3, 4, 5, 6, 7})).status, 0);
        const std::string kept = RunTool("watch --quiet --output ndjson " + file).out;
        std::string values;
        for (std::size_t at = kept.find("\"x\":"); at != std::string::npos;
             at = kept.find("\"x\":", at + 1)) {
            values += kept[at + 4];
        }
        return values;
    };
    EXPECT_EQ(keptOf("--rule x==3 --before 2s --after 1s"), "1234");
    EXPECT_EQ(keptOf("--rule x==2 --rule x==4 --before 3s"), "01234");
    EXPECT_EQ(keptOf("--rule x>=0 --rule 'x >= 0 && x < 9' --at-most 1/3s"), "0257");
    ExpectFailure("watch - --rule x>0 --events --keep matches --save " + file,
                  "use --keep events, or leave out --events");
    RunTool(line + "events --events", Seconds({0, 2, 6, 3, 7, 8}));
    EXPECT_THAT(RunTool("watch --quiet " + file + " --rule count==2").out,
                HasSubstr(" count=2 x_min=7 x_max=8\n"));
    ExpectFailure("watch - --rules " + folder.Write("bad", "high: x > 4\nlow: x <\n"),
                  folder.PathOf("bad") + ":2: rule 'x <': ", Seconds({}));
}

TEST(WatchCommand, StopsWhileAFifoHasNoWriter) {
    const Folder folder;
    const std::string fifo = folder.PathOf("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(RunTool("watch --quiet --for 0.001ms " + fifo).status, 0);
    for (const int signal : {SIGINT, SIGTERM}) {
        Process process("watch --quiet " + fifo);
        const std::string files = "/proc/" + std::to_string(process.GetId()) + "/fd";
        const auto isOpen = [&] {
            std::error_code error;
            const std::filesystem::directory_iterator list(files, error);
            return std::any_of(begin(list), end(list), [&](const auto& file) {
                return std::filesystem::read_symlink(file, error) == fifo;
            });
        };
        while (!isOpen()) {
            std::this_thread::yield();
        }
        kill(process.GetId(), signal);
        EXPECT_EQ(process.Wait().status, 0) << signal;
    }
}

}  // namespace
}  // namespace velmora::tool
