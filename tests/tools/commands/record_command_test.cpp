// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <utility>

namespace velmora::tool {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

// Six samples, a minute apart; the third is warm.
const std::string rows =
    "time,t,n\n2020-01-01T00:00:00Z,1,a\n2020-01-01T00:01:00Z,2,b\n2020-01-01T00:02:00Z,9,c\n"
    "2020-01-01T00:03:00Z,3,d\n2020-01-01T00:04:00Z,4,e\n2020-01-01T00:05:00Z,5,f\n";

// The minutes of the samples that the program replays from a history.
std::string MinutesOf(const std::string& history, const std::string& options = {}) {
    const std::string lines = RunTool("replay " + history + " --speed 0 " + options).out;
    std::string minutes;
    for (std::size_t at = 0; at < lines.size(); at = lines.find('\n', at) + 1) {
        minutes += lines[at + 15];
    }
    return minutes;
}

TEST(RecordCommand, KeepsWhatIsSelected) {
    const Folder folder;
    const struct {
        std::string options;
        std::string minutes;
        int status = 0;
    } cases[] = {
        {"", "012345"},
        {"--rule 't > 8'", "2"},
        {"--rule 't > 8' --before 1m --after 30s", "12"},
        {"--rule 't > 8' --rule 't == 4' --after 1m", "2345"},
        {"--rule 't > 8' --rule 't == 4' --before 2m", "01234"},
        {"--since 2020-01-01T00:04:00Z --columns n", "45"},
        {"--rule 't > 10'", "", 1},
        {"--rule 't > 10' --keep all", "012345", 1},
        {"--rule 't > 8' --rule 't < 4' --keep events", "123"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.options);
        const std::string history = folder.PathOf(std::to_string(&each - cases) + ".db");
        const Outcome run = RunTool("record - --to " + history + " " + each.options, rows);
        EXPECT_EQ(run.status, each.status) << run.err;
        EXPECT_EQ(MinutesOf(history), each.minutes);
        EXPECT_THAT(run.err, HasSubstr("recorded " + std::to_string(each.minutes.size())));
    }
}

TEST(RecordCommand, KeepsEventsAsSamples) {
    const Folder folder;
    const std::string history = folder.PathOf("e.db");
    ASSERT_EQ(RunTool("record - --stream rig --keep events --rule 'high: t > 3' --rule "
                      "'low: t < 4 && n != \"a\"' --to " +
                          history,
                      rows)
                  .status,
              0);
    const std::string out = RunTool("watch --quiet " + history).out;
    EXPECT_EQ(out,
              "2020-01-01T00:01:00Z rig/low [*] begin=1577836860000000 end=1577836860000000 "
              "count=1 t_min=2 t_max=2\n"
              "2020-01-01T00:03:00Z rig/low [*] begin=1577836980000000 end=1577836980000000 "
              "count=1 t_min=3 t_max=3\n"
              "2020-01-01T00:02:00Z rig/high [*] begin=1577836920000000 end=1577836920000000 "
              "count=1 t_min=9 t_max=9\n"
              "2020-01-01T00:05:00Z rig/high [*] begin=1577837040000000 end=1577837100000000 "
              "count=2 t_min=4 t_max=5\n");
    ExpectFailure("record - --keep events --to " + history, "--keep events needs a rule", rows);
}

TEST(RecordCommand, AddsWhatIsNewAndWatchReadsIt) {
    const Folder folder;
    const std::string history = folder.PathOf("plant.db");
    const std::string record = "record - --stream plant/a --to " + history;
    ASSERT_EQ(RunTool(record, rows.substr(0, rows.find("2020-01-01T00:03"))).status, 0);
    EXPECT_THAT(RunTool(record, rows).err,
                EndsWith("recorded 3 samples of 6 to " + history + ", which had 3 more of them\n"));
    EXPECT_EQ(MinutesOf(history), "012345");
    EXPECT_EQ(MinutesOf(history, "--rule 't > 3' --until 2020-01-01T00:05:00Z"), "24");
    EXPECT_EQ(RunTool("watch " + history + " --quiet --rule 't > 8'").out,
              "2020-01-01T00:02:00Z plant/a [t > 8] t=9 n=c\n");
}

TEST(RecordCommand, EndsInOrderOnASignal) {
    const Folder folder;
    for (const int signal : {SIGHUP, SIGTERM, SIGINT}) {
        const std::string history = folder.PathOf(std::to_string(signal) + ".db");
        Process record("record - --to " + history);
        record.Write(rows + "2020-01-01T00:06:00Z,7,g\n");
        // Waits until all samples are in the file.
        while (MinutesOf(history).size() < 7) {
        }
        kill(record.GetId(), signal);
        const Outcome run = record.Wait();
        EXPECT_EQ(run.status, 0);
        EXPECT_THAT(run.err, EndsWith("recorded 7 samples of 7 to " + history + "; interrupted\n"));
        EXPECT_THAT(folder.List(),
                    testing::Not(testing::Contains(std::to_string(signal) + ".db-wal")));
        // A replay at the original pace also ends with status 0.
        Process replay("replay " + history);
        EXPECT_EQ(replay.ReadLine(), "2020-01-01T00:00:00Z stdin [*] t=1 n=a");
        kill(replay.GetId(), signal);
        EXPECT_EQ(replay.Wait().status, 0);
    }
}

TEST(RecordCommand, RefusesWhatItCannotDo) {
    const Folder folder;
    const std::string other = folder.Write("other.db", "no database, but as long as its header is");
    const std::string none = folder.PathOf("none/a.db");
    const std::pair<std::string, std::string> cases[] = {
        {"record - --to a.csv", "--to 'a.csv' does not end in .db"},
        {"record - --to a.db --before 1m", "--before and --after need a rule"},
        {"record - --to " + other, "History '" + other + "': "},
        {"record - --to " + none, "History '" + none + "': "},
        {"show " + other, "History '" + other + "': "},
        {"replay " + none, "History '" + none + "': "},
    };
    for (const auto& [line, reason] : cases) {
        ExpectFailure(line, reason, rows);
    }
    // Samples before a bad row are kept.
    const std::string history = folder.PathOf("kept.db");
    ExpectFailure("record - --quiet --to " + history, ":8:", rows + "2020-01-01T00:06:00Z,x,g\n");
    EXPECT_EQ(MinutesOf(history), "012345");
}

}  // namespace
}  // namespace velmora::tool
