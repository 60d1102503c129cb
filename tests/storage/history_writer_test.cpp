// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_writer.h"

#include "storage/history.h"
#include "storage/history_support.h"
#include "support/thrown.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"

#include <Poco/Logger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <limits>

namespace velmora::test {
namespace {

using namespace core::tessaryn;
using storage::History;
using storage::HistoryMode;
using storage::HistoryWriterOptions;
using testing::ElementsAre;
using Reason = HistoryException::Reason;

constexpr double inf = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

struct Cell {
    const char* name;
    SampleEntry entry;
    void (*fill)(Sample& sample);
    const char* stored;  ///< as an SQL literal
};

const Cell cells[] = {
    {"Int8", {"x", Int8}, [](Sample& s) { s.Set(0, 0, char(-128)); }, "-128"},
    {"Int64", {"x", Int64}, [](Sample& s) { s.Set(0, 0, LLONG_MIN); }, "-9223372036854775808"},
    {"UInt32", {"x", UInt32}, [](Sample& s) { s.Set(0, 0, 4294967295U); }, "4294967295"},
    {"UInt64",
     {"x", UInt64},
     [](Sample& s) { s.Set(0, 0, 9223372036854775807ULL); },
     "9223372036854775807"},
    {"LargeUInt64",
     {"x", UInt64},
     [](Sample& s) { s.Set(0, 0, 9223372036854775808ULL); },
     "'09223372036854775808'"},
    {"Float", {"x", Float}, [](Sample& s) { s.Set(0, 0, 0.1F); }, "1.00000001490116119384e-01"},
    {"Infinity", {"x", Double}, [](Sample& s) { s.Set(0, 0, -inf); }, "-Inf"},
    {"Nan", {"x", Double}, [](Sample& s) { s.Set(0, 0, nan); }, "NULL"},
    {"Bool", {"x", Bool}, [](Sample& s) { s.Set(0, 0, true); }, "1"},
    {"Text",
     {"x", String, 0},
     [](Sample& s) { s.Set(0, "d\xC3\xA9j\xC3\xA0 'vu'"); },
     "'d\xC3\xA9j\xC3\xA0 ''vu'''"},
    {"EmptyText", {"x", String, 0}, [](Sample&) {}, "''"},
    {"Bytes", {"x", String, 0}, [](Sample& s) { s.Set(0, std::string("\xFF\x01")); }, "X'FF01'"},
    {"ZeroByte", {"x", String, 2}, [](Sample&) {}, "X'0000'"},
    {"Array", {"x", Int16, 3}, [](Sample& s) { s.Set(0, 1, short(-7)); }, "'[0,-7,0]'"},
    {"ArrayOfOne", {"x", UInt8, 2}, [](Sample& s) { s.Resize(0, 1); }, "'[0]'"},
    {"NumberWithoutElement", {"x", Double}, [](Sample& s) { s.Resize(0, 0); }, "'[]'"},
    {"Floats",
     {"x", Float, 4},
     [](Sample& s) {
         s.Set(0, 0, 0.1F);
         s.Set(0, 1, float(nan));
         s.Set(0, 2, float(-inf));
     },
     "'[0.1,null,-1e999,0]'"},
    {"Bools", {"x", Bool, 2}, [](Sample& s) { s.Set(0, 1, true); }, "'[false,true]'"},
};

class StoredCell : public testing::TestWithParam<Cell> {};
INSTANTIATE_TEST_SUITE_P(History, StoredCell, testing::ValuesIn(cells),
                         [](const auto& cell) { return cell.param.name; });

TEST_P(StoredCell, HasTheDocumentedForm) {
    const Folder folder;
    TestType type{GetParam().entry};
    Sample sample(&type.type, Poco::Timestamp());
    GetParam().fill(sample);
    HistoryWriter(folder.PathOf("a.db")).Write("s", sample);
    EXPECT_THAT(Query(folder.PathOf("a.db"), "SELECT quote(x) FROM s"),
                ElementsAre(GetParam().stored));
}

TEST(HistoryWriter, GivesEachStreamAViewWithIsoTimes) {
    const Folder folder;
    TestType type{{"n", Int32, 1}};
    {
        HistoryWriter writer(folder.PathOf("a.db"));
        for (const long long time : {-1LL, 1'500'000LL, 253'402'300'800'000'000LL}) {
            writer.Write("plant/line1", Number(type, 1, time));
        }
    }
    EXPECT_THAT(Query(folder.PathOf("a.db"), "SELECT time, time_us, n FROM \"plant/line1\""),
                ElementsAre("1969-12-31T23:59:59.999999Z|-1|1",
                            "1970-01-01T00:00:01.500000Z|1500000|1", "NULL|253402300800000000|1"));
}

TEST(HistoryWriter, FindsNamesThatSqliteTakes) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    TestType odd{{"x", Int8, 1},       {"X", Int8, 1},    {"time", Int8, 1},
                 {"Time_US", Int8, 1}, {"a\"b", Int8, 1}, {std::string("\0\xFF", 2), Int8, 1}};
    const std::string paths[] = {"plant",
                                 "Plant",
                                 "sqlite_x",
                                 "VELMORA_STREAM",
                                 "",
                                 "a\"b;--",
                                 std::string("\0z", 2),
                                 std::string(1000, 'y')};
    {
        HistoryWriter writer(file);
        for (const std::string& path : paths) {
            writer.Write(path, Sample(&odd.type, Poco::Timestamp()));
        }
    }
    EXPECT_THAT(Query(file, "SELECT substr(view, 1, 20) FROM velmora_stream ORDER BY id"),
                ElementsAre("plant", "Plant~2", "_sqlite_x", "_VELMORA_STREAM", "_", "a\"b;--",
                            "?z", std::string(20, 'y')));
    EXPECT_THAT(Query(file, "SELECT name FROM pragma_table_info('plant')"),
                ElementsAre("time", "time_us", "x", "X~2", "time~2", "Time_US~2", "a\"b", "??"));
    const auto streams = History(file).GetStreams();
    ASSERT_EQ(streams.size(), std::size(paths));
    for (std::size_t i = 0; i < streams.size(); ++i) {
        EXPECT_EQ(streams[i].path, paths[i]);
        EXPECT_EQ(streams[i].layouts.at(0).entries.at(5).name, std::string("\0\xFF", 2));
        EXPECT_THAT(Query(file, "SELECT count(*) FROM \"" +
                                    std::string(i == 5 ? "a\"\"b;--" : streams[i].view) + "\""),
                    ElementsAre("1"));
    }
}

TEST(HistoryWriter, StartsATableForANewVersionAndJoinsThemInTheView) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    TestType first{{"n", Int32, 1}, {"gone", Double, 1}, {"other", Int32, 1}};
    TestType second({{"n", Double, 1}, {"come", String, 0}, {"other", Int32, 2}}, "Pos", {1, 1, 0});
    {
        HistoryWriter writer(file);
        writer.Write("s", Number(first, 1, 10));
        writer.Flush();
        History(file, HistoryMode::write).SetEntryText("s", "n", "mm", "height");
        writer.Write("s", Sample(&second.type, Poco::Timestamp(20)));
        writer.Write("s", Number(first, 2, 30));
    }
    EXPECT_THAT(Query(file, "SELECT time_us, n, come, other, gone FROM s ORDER BY time_us"),
                ElementsAre("10|1|NULL|NULL|0.0", "20|0.0||[0,0]|NULL", "30|2|NULL|NULL|0.0"));
    const auto streams = History(file).GetStreams();
    ASSERT_EQ(streams.at(0).layouts.size(), 2U);
    EXPECT_EQ(streams[0].layouts[0].rowCount, 2U);
    EXPECT_EQ(streams[0].layouts[1].version, utils::Version(1, 1, 0));
    EXPECT_EQ(streams[0].layouts[1].entries[0].unit, "mm");
    EXPECT_EQ(streams[0].layouts[0].newest, Poco::Timestamp(30));
}

TEST(History, RefusesWhatItDoesNotKnow) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    HistoryWriter(file).Close();
    const auto open = [&](const std::string& name) {
        return [path = folder.PathOf(name)] { History opened(path, HistoryMode::write); };
    };
    EXPECT_EQ(ReasonOf(open("missing.db")), Reason::notFound);
    folder.Write("text.db", std::string(5000, 'x'));
    EXPECT_EQ(ReasonOf(open("text.db")), Reason::notAHistory);
    Outsider(folder.PathOf("other.db")).Run("CREATE TABLE t(x)");
    EXPECT_EQ(ReasonOf(open("other.db")), Reason::notAHistory);
    EXPECT_EQ(ReasonOf([&] { HistoryWriter writer(folder.PathOf("other.db")); }),
              Reason::notAHistory);
    Outsider(file).Run("PRAGMA user_version = 2");
    EXPECT_EQ(ReasonOf(open("a.db")), Reason::laterVersion);
    EXPECT_EQ(
        MessageOf<HistoryException>(open("a.db")),
        "History '" + file + "': its format version is 2, this library knows versions up to 1.");
    Outsider(file).Run("PRAGMA user_version = 1; ALTER TABLE velmora_layout ADD COLUMN x");
    EXPECT_EQ(ReasonOf(open("a.db")), Reason::corrupt);
}

TEST(HistoryWriter, KeepsItsQueueWhileTheFileIsLocked) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    TestType type{{"n", Int32, 1}};
    HistoryWriter writer(file,
                         {.interval = 1h, .capacity = 2, .retryInterval = 1h, .lockTimeout = 0ms});
    writer.Write("s", Number(type, 1, 1));
    const Outsider other(file);
    other.Run("BEGIN IMMEDIATE");
    EXPECT_EQ(ReasonOf([&] { writer.Flush(); }), Reason::locked);
    writer.Write("s", Number(type, 2, 2));
    EXPECT_EQ(ReasonOf([&] { writer.Write("s", Number(type, 3, 3)); }), Reason::locked);
    other.Run("ROLLBACK");
    writer.Flush();
    EXPECT_THAT(Query(file, "SELECT n FROM s"), ElementsAre("1", "2"));
    const storage::HistoryWriterStatistics counts = writer.GetStatistics();
    EXPECT_EQ(counts.accepted, 3U);
    EXPECT_EQ(counts.written, 2U);
    EXPECT_EQ(counts.lost, 1U);
    EXPECT_EQ(counts.failures, 1U);
    EXPECT_EQ(counts.waiting, 0U);
    EXPECT_EQ(counts.lastError, "");
}

TEST(HistoryWriter, LosesOnlyTheSampleThatAHistoryCannotHold) {
    const Folder folder;
    TestType type{{"n", Int32, 1}};
    TestType wide{};
    for (int i = 0; i < 2000; ++i) {
        wide.type.Add(std::to_string(i), Int8, 1);
    }
    std::string reported;
    HistoryWriter writer(folder.PathOf("a.db"), {.onError = [&](const std::exception& error) {
                             reported = error.what();
                         }});
    writer.Write("s", Number(type, 1, 1));
    writer.Write("wide", Sample(&wide.type, Poco::Timestamp()));
    writer.Write("s", Number(type, 2, 2));
    writer.Flush();
    EXPECT_EQ(writer.GetStatistics().written, 2U);
    EXPECT_EQ(writer.GetStatistics().lost, 1U);
    EXPECT_EQ(reported, "Stream type 'Root.Pos' has 2000 entries: a history keeps up to 1900.");
}

TEST(HistoryWriter, WritesPushesAndChangesOfStreamsByADispatcher) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    TestType type{{"n", Int32, 1}};
    StreamRepository streams(Poco::Logger::root(), '/');
    Stream& line = *streams.AddStream("plant/line", &type.type, 10);
    delivery::Dispatcher dispatcher;
    HistoryWriter writer(file);
    writer.Attach(dispatcher, streams, "plant/>");
    line.PushNew([](Sample& sample) { sample.Set(0, 0, 1); });
    line.ChangeLatest([](Sample& sample) { sample.Set(0, 0, 2); }, true);
    line.PopLatest();
    writer.Close();
    EXPECT_THAT(Query(file, "SELECT n FROM \"plant/line\""), ElementsAre("1", "2"));
    EXPECT_EQ(writer.GetStatistics().written, 2U);
    EXPECT_THROW(writer.Write("s", Number(type, 1, 1)), std::logic_error);
}

TEST(HistoryWriter, WritesTheSamplesOfAStreamOnceAcrossRestarts) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    TestType type{{"x", Double, 1}, {"s", String, 0}};
    Stream stream(&type.type, 10);
    for (int start = 0; start < 3; ++start) {
        for (const double value : {nan, 1.0, 1.0}) {  // two with one time and the same values
            Sample sample(&type.type, Poco::Timestamp());
            sample.Set(0, 0, value);
            stream.PushNew(new Sample(
                Restamped(std::move(sample), Poco::Timestamp(start * 10 + (value > 0 ? 1 : 0)))));
        }
        delivery::Dispatcher dispatcher;
        HistoryWriter writer(file);
        writer.Attach(dispatcher, "s", stream);
        writer.Close();
    }
    EXPECT_THAT(Query(file, "SELECT time_us, x FROM s"),
                ElementsAre("0|NULL", "1|1.0", "1|1.0", "10|NULL", "11|1.0", "11|1.0", "20|NULL",
                            "21|1.0", "21|1.0"));
}

struct RetentionCase {
    const char* name;
    storage::HistoryRetention limits;
    const char* left;  ///< numbers of rows of "a" and "b", and the oldest of both
};

class Retention : public testing::TestWithParam<RetentionCase> {};
INSTANTIATE_TEST_SUITE_P(
    History, Retention,
    testing::Values(RetentionCase{"None", {}, "400|100|0"},
                    RetentionCase{"Age", {.maxAge = 100us, .stepSize = 7}, "100|100|300"},
                    RetentionCase{"Rows", {.maxRows = 150, .stepSize = 7}, "150|100|250"}),
    [](const auto& limits) { return limits.param.name; });

TEST_P(Retention, DeletesTheOldestInSteps) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    TestType type{{"n", Int32, 1}};
    HistoryWriter writer(file, {.maxBatch = 64, .retention = GetParam().limits, .now = [] {
                                    return Poco::Timestamp(400);
                                }});
    for (int i = 0; i < 400; ++i) {
        writer.Write("a", Number(type, i, i));
        if (i >= 300) {
            writer.Write("b", Number(type, i, i));
        }
    }
    writer.Flush();
    EXPECT_THAT(Query(file,
                      "SELECT (SELECT count(*) FROM a), (SELECT count(*) FROM b),"
                      " (SELECT min(time_us) FROM a)"),
                ElementsAre(GetParam().left));
    const auto streams = History(file).GetStreams();
    EXPECT_EQ(streams[0].layouts[0].rowCount + streams[1].layouts[0].rowCount,
              500 - writer.GetStatistics().deleted);
}

TEST(HistoryWriter, KeepsAFileBelowALimitOfBytes) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    TestType type{{"s", String, 0}};
    HistoryWriter writer(file,
                         {.maxBatch = 50, .retention = {.maxBytes = 200'000, .stepSize = 10}});
    Sample sample(&type.type, Poco::Timestamp());
    sample.Set(0, std::string(1000, 'x'));
    for (int i = 0; i < 1000; ++i) {
        writer.Write("s", sample);
    }
    writer.Flush();
    const std::uint64_t used = History(file).GetUsedBytes();
    EXPECT_LE(used, 200'000U);
    EXPECT_GE(used, 150'000U);
}

}  // namespace
}  // namespace velmora::test
