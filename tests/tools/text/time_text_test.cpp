// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/time_text.h"

#include "support/random.h"
#include "text/time_reader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora::tool {
namespace {

constexpr std::int64_t second = 1'000'000;
constexpr std::int64_t newYear2020 = 1'577'836'800 * second;

TEST(TimeText, ReadsIsoTimes) {
    const std::pair<const char*, std::int64_t> cases[] = {
        {"2020-01-01 00:00:01", newYear2020 + second},
        {"2020-01-01T00:00:00.0000019Z", newYear2020 + 1},
        {"2020-01-01T01:30:00+01:30", newYear2020},
        {"2019-12-31T19:00:00-0500", newYear2020},
        {"1969-12-31T23:59:59.999999Z", -1},
        {"0001-01-01", -62'135'596'800 * second},
        {"9999-12-31T23:59:59.999999Z", 253'402'300'799 * second + 999'999},
        {"2016-12-31T23:59:60.25Z", 1'483'228'800 * second + second / 4},
        {"2017-01-01T08:59:60+09:00", 1'483'228'800 * second},
        {"2020-02-29", newYear2020 + 59 * 86'400 * second}};
    for (const auto& [text, time] : cases) {
        EXPECT_EQ(ParseIsoTime(text), time) << text;
    }
    for (const char* text : {"2019-02-29",
                             "2020-00-01",
                             "2020-13-01",
                             "2020-04-31",
                             "0000-01-01",
                             "2020-1-1",
                             "",
                             "2020-01-01T24:00:00Z",
                             "2020-01-01T00:60:00Z",
                             "2020-01-01T00:00:60Z",
                             "2016-12-31T23:59:61Z",
                             "2016-12-31T22:59:60Z",
                             "2020-01-01T",
                             "2020-01-01T00:00:00.Z",
                             "2020-01-01T00:00:00+24:00",
                             "2020-01-01T00:00:00+1",
                             "20200101",
                             "2020-01-01T00:00:00+01:",
                             "2020-01-01T00:00:00Zx",
                             "9999-12-31T23:59:59-01:00"}) {
        EXPECT_EQ(ParseIsoTime(text), std::nullopt) << text;
    }
}

// The second text is read with what the first one left behind.
TEST(TimeText, ReadsSuccessiveTimesLikeSingleOnes) {
    const std::vector<std::string> texts = {"2020-01-01T00:00:00Z",
                                            "2020-01-01T23:59:59Z",
                                            "2020-01-01T23:59:60Z",
                                            "2016-12-31T23:59:59Z",
                                            "2016-12-31T23:59:60Z",
                                            "2020-01-01T12:00:00.5Z",
                                            "2020-01-01T12:00:00.123456789Z",
                                            "2020-01-01T12:00:00.456789Z",
                                            "2020-01-01T12:00:00789Z",
                                            "2020-01-01T12:00:00,25",
                                            "2020-01-01T12:00:00.5,25",
                                            "2020-01-01T12:00:00",
                                            "2020-01-01T12:00:00.",
                                            "2020-01-01T12:00",
                                            "2020-01-01 12:00:00",
                                            "2020-01-01T12:00:00+01:00",
                                            "2020-01-01T12:30:00+01:00",
                                            "2020-01-01T12:00:00-01:00",
                                            "2020-01-01T24:00:00Z",
                                            "2020-01-01T12:60:00Z",
                                            "2020-01-01T1a:00:00Z",
                                            "2020-01-01T23:59:59Z",
                                            "2020-01-01T12:00:60Z",
                                            "2020-01-01T1/:00:00Z",
                                            "2020-01-01T1::00:00Z",
                                            "2020-01-01T/2:00:00Z",
                                            "2020-01-01T:2:00:00Z",
                                            "2020-01-01T12:00:0\xb0Z",
                                            "2020-01-01T12\xba"
                                            "00:00Z",
                                            "2020-01-01T12;00:00Z",
                                            "2020-01-01T12:00900Z",
                                            "2020-01-01T12:00:00Y",
                                            "2020-01-11T12:00:00Z",
                                            "2120-01-01T12:00:00Z",
                                            "2020-01-01T12:00:00+01:30",
                                            "2020-01-01T12:00:0Z",
                                            "2020-01-01T",
                                            "2020-01-01",
                                            "9999-12-31T23:30:00-00:10",
                                            "9999-12-31T23:59:00-00:10",
                                            "01.02.2020 11:30:00",
                                            "01.02.2020 11:45:00",
                                            "01.02.2020 11:30:00 PM",
                                            "01.02.2020 12:30:00 PM",
                                            "01.02.2020 11:30:00 AM",
                                            ""};
    for (const DateOrder order : {DateOrder::yearFirst, DateOrder::dayFirst}) {
        for (const std::string& first : texts) {
            for (const std::string& second : texts) {
                TimeReader reader(order);
                reader.Read(first);
                const std::optional<TimeParts> read = reader.Read(second);
                const std::optional<TimeParts> alone = ParseTime(second, order);
                ASSERT_EQ(read.has_value(), alone.has_value()) << first << " " << second;
                if (alone) {
                    EXPECT_EQ(read->time, alone->time) << first << " " << second;
                    EXPECT_EQ(read->hasZone, alone->hasZone) << first << " " << second;
                    EXPECT_EQ(read->hasClock, alone->hasClock) << first << " " << second;
                }
            }
        }
    }
}

TEST(TimeText, ReadsBackWhatItWrites) {
    constexpr std::int64_t first = -62'135'596'800 * second;
    constexpr std::uint64_t span = 253'402'300'799 * second - first;
    test::Random random;
    for (int i = 0; i < 10'000; ++i) {
        const std::int64_t unit = i % 3 == 0 ? second : i % 3 == 1 ? 1000 : 1;
        const std::int64_t time =
            (first + static_cast<std::int64_t>(random.Bits() % span)) / unit * unit;
        std::string text;
        AppendTime(text, time);
        ASSERT_EQ(ParseIsoTime(text), time) << text;
        ASSERT_TRUE(unit != second || text.size() == 20U) << text;
    }
}

TEST(TimeText, ReadsNumbersThatCountFromTheEpoch) {
    const std::pair<const char*, std::int64_t> cases[] = {{"-1.5", -second - second / 2},
                                                          {"1577836800001.5", newYear2020 + 1500},
                                                          {"1577836800000001", newYear2020 + 1},
                                                          {"1577836800000001999", newYear2020 + 1},
                                                          {"99999999999", 99'999'999'999 * second}};
    for (const auto& [text, time] : cases) {
        EXPECT_EQ(ParseEpochTime(text, GuessEpochUnit(text).value()), time) << text;
    }
    EXPECT_EQ(GuessEpochUnit("1e9"), std::nullopt);
    for (const char* text : {"253402300800", "9223372036854775807", "1e9", "1.", ""}) {
        EXPECT_EQ(ParseEpochTime(text, EpochUnit::seconds), std::nullopt) << text;
    }
}

TEST(TimeText, ReadsDurations) {
    const std::pair<const char*, long> cases[] = {{"250ms", 250},    {"3s", 3000},
                                                  {"1.5", 1500},     {"2m", 120'000},
                                                  {"1h", 3'600'000}, {"1d", 86'400'000}};
    for (const auto& [text, milliseconds] : cases) {
        EXPECT_EQ(ParseDuration(text), std::chrono::milliseconds(milliseconds)) << text;
    }
    for (const char* text :
         {"0s", "-1s", "1w", "1 s", "s", "nan", "inf", "1e300h", "99999999999h", ""}) {
        EXPECT_EQ(ParseDuration(text), std::nullopt) << text;
    }
    const std::pair<long, const char*> lengths[] = {
        {0, "0s"}, {1500, "1.5ms"}, {61'500'000, "1m 1.5s"}, {90'000'000'000, "1d 1h"}};
    for (const auto& [microseconds, text] : lengths) {
        EXPECT_EQ(FormatDuration(microseconds), text);
    }
}

}  // namespace
}  // namespace velmora::tool
