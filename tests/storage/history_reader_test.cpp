// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_reader.h"

#include "storage/history.h"
#include "storage/history_support.h"
#include "support/random.h"
#include "tessaryn/sample_numbers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

namespace velmora::test {
namespace {

using namespace core::tessaryn;
using storage::History;
using storage::HistoryQuery;
using storage::HistoryReader;
using testing::ElementsAre;
using testing::ElementsAreArray;
using Reason = HistoryException::Reason;

std::vector<int> ReadNumbers(HistoryReader& reader) {
    std::vector<int> numbers;
    while (reader.Next()) {
        numbers.push_back(reader.GetSample().GetInt32(reader.GetSample().EntryId("n"), 0));
    }
    return numbers;
}

std::vector<int> ReadNumbers(const std::string& file, const HistoryQuery& query = {}) {
    const History history(file);
    HistoryReader reader(history, query);
    return ReadNumbers(reader);
}

// Ignores the sign of NaN and of zero.
void ExpectSame(const Sample& sample, const Sample& expected) {
    EXPECT_EQ(sample.GetTimeStamp(), expected.GetTimeStamp());
    for (unsigned short entry = 0; entry < expected.GetStreamType()->GetNumEntries(); ++entry) {
        const BaseType type = expected.GetStreamType()->GetType(entry);
        ASSERT_EQ(sample.GetSize(entry), expected.GetSize(entry));
        for (unsigned int i = 0; i < expected.GetSize(entry); ++i) {
            if (type == Float || type == Double) {
                const double value = GetNumber<double>(sample, entry, i);
                const double wanted = GetNumber<double>(expected, entry, i);
                EXPECT_TRUE(value == wanted || (value != value && wanted != wanted)) << wanted;
            } else {
                EXPECT_EQ(ToString(&sample, entry, i), ToString(&expected, entry, i));
            }
        }
    }
}

TEST(HistoryReader, GivesSamplesAsTheyWere) {
    const Folder folder;
    TestType type{{"none", Bool, 0}, {"text", String, 3}};
    for (const BaseType each :
         {Int8, Int16, Int32, Int64, UInt8, UInt16, UInt32, UInt64, Float, Double, Bool}) {
        type.type.Add(ToString(each), each, 1);
        type.type.Add("array of " + ToString(each), each, 3);
    }
    Random random;
    std::vector<Sample> samples;
    HistoryWriter writer(folder.PathOf("a.db"));
    for (int i = 0; i < 200; ++i) {
        Sample sample(&type.type, Poco::Timestamp(i * 1'000'000LL - 100'000'000LL));
        for (unsigned short entry = 0; entry < type.type.GetNumEntries(); ++entry) {
            if (random.Below(8) == 0) {
                sample.Resize(entry, random.Below(4));
            }
        }
        // Any bytes make a number, including NaN with a payload.
        std::string binary = BinaryOf(sample);
        const std::size_t table = (type.type.GetNumEntries() + 1) * sizeof(unsigned int);
        for (std::size_t at = table; at < binary.size(); ++at) {
            binary[at] =
                static_cast<char>(random.Below(4) == 0 ? 255 * random.Below(2) : random.Below(256));
        }
        ReadBinary(sample, binary);
        samples.push_back(sample);
        writer.Write("s", sample);
    }
    writer.Close();
    const History history(folder.PathOf("a.db"));
    HistoryReader reader(history);
    for (const Sample& sample : samples) {
        ASSERT_TRUE(reader.Next());
        EXPECT_TRUE(reader.GetSample().GetStreamType()->HasSameLayout(type.type));
        EXPECT_EQ(reader.GetSample().GetStreamType()->GetFullName(), "Root.Pos");
        ExpectSame(reader.GetSample(), sample);
    }
    EXPECT_FALSE(reader.Next());
}

// The expected result for a history of several streams and layouts, found by examining all samples.
struct Row {
    long long time;
    std::size_t stream;
    std::size_t layout;
    int number;
    auto Place() const { return std::tuple(time, stream, layout, number); }
};

std::vector<int> Expected(std::vector<Row> rows, const HistoryQuery& query, int below) {
    std::sort(rows.begin(), rows.end(),
              [](const Row& a, const Row& b) { return b.Place() < a.Place(); });
    std::vector<int> numbers;
    std::uint64_t counts[2] = {};
    for (const Row& row : rows) {
        const Poco::Timestamp time(row.time);
        const bool isMeant = (!query.from || time >= *query.from) &&
                             (!query.to || time <= *query.to) && row.number < below;
        if (isMeant && (query.newest == 0 || counts[row.stream]++ < query.newest)) {
            numbers.push_back(row.number);
        }
    }
    if (!query.isBackwards) {
        std::reverse(numbers.begin(), numbers.end());
    }
    return numbers;
}

TEST(HistoryReader, SelectsAsAModelDoes) {
    TestType types[] = {{{"n", Int32, 1}}, {{"x", Double, 1}, {"n", Int32, 1}}};
    Random random;
    for (int round = 0; round < 6; ++round) {
        const Folder folder;
        const bool isInOrder = random.Below(2) == 0;
        std::vector<Row> rows;
        {
            HistoryWriter writer(folder.PathOf("a.db"));
            // One of each, so that streams and layouts have a known order.
            for (int number = 0; number < 60; ++number) {
                const std::size_t stream = number < 4 ? number / 2U : random.Below(2);
                const std::size_t layout = number < 4 ? number % 2U : random.Below(2);
                const long long time = isInOrder ? number / 3 : random.Below(20);
                Sample sample(&types[layout].type, Poco::Timestamp());
                sample.Set(sample.EntryId("n"), 0, number);
                writer.Write(stream == 0 ? "p/a" : "p/b", Restamped(sample, Poco::Timestamp(time)));
                rows.push_back({time, stream, layout, number});
            }
        }
        const History history(folder.PathOf("a.db"));
        for (int i = 0; i < 40; ++i) {
            HistoryQuery query{.newest = random.Below(3) == 0 ? random.Below(20) : 0,
                               .isBackwards = random.Below(2) == 0};
            if (random.Below(2) == 0) {
                query.from = Poco::Timestamp(random.Below(20));
            }
            if (random.Below(2) == 0) {
                query.to = Poco::Timestamp(random.Below(20));
            }
            const int below = random.Below(2) == 0 ? 1000 : static_cast<int>(random.Below(60));
            if (below < 1000) {
                query.rule = "n < " + std::to_string(below);
            }
            HistoryReader reader(history, query);
            std::vector<int> numbers;
            while (reader.Next()) {
                numbers.push_back(reader.GetSample().GetInt32(reader.GetSample().EntryId("n"), 0));
                if (random.Below(8) == 0) {
                    reader.Suspend();
                }
            }
            ASSERT_THAT(numbers, ElementsAreArray(Expected(rows, query, below)))
                << round << " " << i;
        }
    }
}

TEST(HistoryReader, ReadsStreamsOfAPathOrAPattern) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    TestType type{{"n", Int32, 1}};
    TestType other{{"m", Int32, 1}};
    {
        HistoryWriter writer(file);
        writer.Write("plant/*", Number(type, 1, 3));
        writer.Write("plant/b", Number(type, 2, 2));
        writer.Write("plant/c", Number(other, 3, 1));
    }
    EXPECT_THAT(ReadNumbers(file, {.streams = "plant/>", .rule = "n > 0"}), ElementsAre(2, 1));
    EXPECT_THAT(ReadNumbers(file, {.streams = "plant/b"}), ElementsAre(2));
    EXPECT_THAT(ReadNumbers(file, {.streams = "nothing"}), ElementsAre());
}

TEST(HistoryReader, SeeksAndSeesWhatWasCommittedWhenItBegan) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    TestType type{{"n", Int32, 1}};
    HistoryWriter writer(file);
    for (int i = 0; i < 5; ++i) {
        writer.Write("s", Number(type, i, i));
    }
    writer.Flush();
    const History history(file);
    HistoryReader reader(history, {.from = Poco::Timestamp(1)});
    ASSERT_TRUE(reader.Next());
    writer.Write("s", Number(type, 5, 5));
    writer.Flush();
    EXPECT_THAT(ReadNumbers(reader), ElementsAre(2, 3, 4));
    reader.Seek(Poco::Timestamp(4));
    EXPECT_THAT(ReadNumbers(reader), ElementsAre(4, 5));
    reader.Seek(Poco::Timestamp(0));
    EXPECT_THAT(ReadNumbers(reader), ElementsAre(1, 2, 3, 4, 5));
}

struct Damage {
    const char* name;
    const char* sql;
};

class DamagedHistory : public testing::TestWithParam<Damage> {};
INSTANTIATE_TEST_SUITE_P(
    History, DamagedHistory,
    testing::Values(Damage{"TextForNumber", "UPDATE velmora_rows_1 SET n = 'x'"},
                    Damage{"TooLarge", "UPDATE velmora_rows_1 SET n = 3000000000"},
                    Damage{"NoNumber", "UPDATE velmora_rows_1 SET n = NULL"},
                    Damage{"ArrayOfTexts", "UPDATE velmora_rows_1 SET a = '[\"x\"]'"},
                    Damage{"OpenArray", "UPDATE velmora_rows_1 SET a = '[1,2'"},
                    Damage{"NanInArray", "UPDATE velmora_rows_1 SET a = '[nan]'"},
                    Damage{"OtherOrder", "UPDATE velmora_rows_1 SET time_us = -seq"},
                    Damage{"OtherType", "UPDATE velmora_entry SET type = 'Double' WHERE id = 0"},
                    Damage{"NoType", "UPDATE velmora_entry SET type = 'x'"},
                    Damage{"HugeSize", "UPDATE velmora_entry SET size = 4000000000 WHERE id = 1"},
                    Damage{"NoVersion", "UPDATE velmora_layout SET version = '1.x'"},
                    Damage{"NoStream", "DELETE FROM velmora_stream"},
                    Damage{"NoTable", "DROP TABLE velmora_rows_1"},
                    Damage{
                        "ViewForTable",
                        "DROP TABLE velmora_rows_1; CREATE VIEW velmora_rows_1 AS SELECT 1 AS seq"},
                    Damage{"GeneratedColumn",
                           "ALTER TABLE velmora_rows_1 ADD COLUMN g AS (zeroblob(1000000000))"},
                    Damage{"NoCatalogue", "DROP TABLE velmora_entry"}),
    [](const auto& damage) { return damage.param.name; });

TEST_P(DamagedHistory, IsRefused) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    TestType type{{"n", Int32, 1}, {"a", Float, 2}};
    {
        HistoryWriter writer(file);
        writer.Write("s", Number(type, 1, 1));
        writer.Write("s", Number(type, 2, 2));
    }
    EXPECT_THAT(ReadNumbers(file), ElementsAre(1, 2));
    Outsider(file).Run(GetParam().sql);
    EXPECT_EQ(ReasonOf([&] { ReadNumbers(file); }), Reason::corrupt);
}

TEST(HistoryWriter, RunsNoTriggerOfTheFile) {
    const Folder folder;
    const std::string file = folder.PathOf("a.db");
    TestType type{{"n", Int32, 1}};
    HistoryWriter(file).Write("s", Number(type, 1, 1));
    Outsider(file).Run(
        "CREATE TABLE seen(x); CREATE TRIGGER t AFTER INSERT ON velmora_rows_1"
        " BEGIN INSERT INTO seen VALUES(1); END");
    HistoryWriter(file).Write("s", Number(type, 2, 2));
    EXPECT_THAT(Query(file, "SELECT count(*) FROM seen"), ElementsAre("0"));
    EXPECT_THAT(ReadNumbers(file), ElementsAre(1, 2));
}

}  // namespace
}  // namespace velmora::test
