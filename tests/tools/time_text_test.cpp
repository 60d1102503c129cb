// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "time_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <string>

namespace velmora::tool {
namespace {

constexpr std::int64_t second = 1'000'000;
constexpr std::int64_t newYear2020 = 1'577'836'800 * second;

struct TimeCase {
    const char* text;
    std::optional<std::int64_t> time;
};

TEST(TimeText, ReadsIsoTimes) {
    const TimeCase cases[] = {{"2020-01-01T00:00:00Z", newYear2020},
                              {"2020-01-01 00:00:01", newYear2020 + second},
                              {"2020-01-01", newYear2020},
                              {"2020-01-01T00:01z", newYear2020 + 60 * second},
                              {"2020-01-01T00:00:00.5Z", newYear2020 + second / 2},
                              {"2020-01-01T00:00:00.0000019Z", newYear2020 + 1},
                              {"2020-01-01T01:30:00+01:30", newYear2020},
                              {"2019-12-31T19:00:00-0500", newYear2020},
                              {"2020-01-01 01:00:00 +01", newYear2020},
                              {"1969-12-31T23:59:59.999999Z", -1},
                              {"0001-01-01", -62'135'596'800 * second},
                              {"9999-12-31T23:59:59.999999Z", 253'402'300'799 * second + 999'999},
                              {"2020-02-29", newYear2020 + 59 * 86'400 * second},
                              {"2019-02-29", std::nullopt},
                              {"2020-00-01", std::nullopt},
                              {"2020-13-01", std::nullopt},
                              {"2020-04-31", std::nullopt},
                              {"0000-01-01", std::nullopt},
                              {"2020-01-01T24:00:00Z", std::nullopt},
                              {"2020-01-01T00:60:00Z", std::nullopt},
                              {"2020-01-01T00:00:60Z", std::nullopt},
                              {"2020-01-01T00:00:00.Z", std::nullopt},
                              {"2020-01-01T00:00:00+24:00", std::nullopt},
                              {"2020-01-01T00:00:00+1", std::nullopt},
                              {"2020-01-01T00:00:00+01:", std::nullopt},
                              {"2020-01-01T00:00:00Zx", std::nullopt},
                              {"9999-12-31T23:59:59-01:00", std::nullopt},
                              {"2020-01-01T", std::nullopt},
                              {"2020-1-1", std::nullopt},
                              {"20200101", std::nullopt},
                              {"1577836800", std::nullopt},
                              {"", std::nullopt}};
    for (const TimeCase& each : cases)
        EXPECT_EQ(ParseIsoTime(each.text), each.time) << each.text;
}

TEST(TimeText, ReadsBackWhatItWrites) {
    const std::mt19937::result_type seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::uniform_int_distribution<std::int64_t> any(-62'135'596'800 * second,
                                                    253'402'300'799 * second);
    for (int i = 0; i < 10'000; ++i) {
        // Every third is a whole second, every third a whole millisecond.
        const std::int64_t unit = i % 3 == 0 ? second : i % 3 == 1 ? 1000 : 1;
        const std::int64_t time = any(random) / unit * unit;
        std::string text;
        AppendTime(text, time);
        ASSERT_EQ(ParseIsoTime(text), time) << text;
        if (i % 3 == 0) {
            ASSERT_EQ(text.size(), 20U) << text;
        }
    }
}

TEST(TimeText, ReadsNumbersThatCountFromTheEpoch) {
    const struct {
        const char* text;
        std::optional<EpochUnit> unit;
        std::optional<std::int64_t> time;
    } cases[] = {{"1577836800", EpochUnit::seconds, newYear2020},
                 {"1577836800.25", EpochUnit::seconds, newYear2020 + second / 4},
                 {"-1.5", EpochUnit::seconds, -second - second / 2},
                 {"0", EpochUnit::seconds, 0},
                 {"1577836800001", EpochUnit::milliseconds, newYear2020 + 1000},
                 {"1577836800001.5", EpochUnit::milliseconds, newYear2020 + 1500},
                 {"1577836800000001", EpochUnit::microseconds, newYear2020 + 1},
                 {"1577836800000001999", EpochUnit::nanoseconds, newYear2020 + 1},
                 {"99999999999", EpochUnit::seconds, 99'999'999'999 * second},
                 {"9223372036854775808", std::nullopt, std::nullopt},
                 {"1e9", std::nullopt, std::nullopt},
                 {"1.", std::nullopt, std::nullopt},
                 {"--1", std::nullopt, std::nullopt},
                 {"", std::nullopt, std::nullopt}};
    for (const auto& each : cases) {
        EXPECT_EQ(GuessEpochUnit(each.text), each.unit) << each.text;
        EXPECT_EQ(ParseEpochTime(each.text, each.unit.value_or(EpochUnit::seconds)), each.time)
            << each.text;
    }
    EXPECT_EQ(ParseEpochTime("253402300800", EpochUnit::seconds), std::nullopt);
    EXPECT_EQ(ParseEpochTime("9223372036854775807", EpochUnit::seconds), std::nullopt);
}

TEST(TimeText, ReadsDurations) {
    using std::chrono::microseconds;
    const struct {
        const char* text;
        std::optional<microseconds> duration;
    } cases[] = {{"250ms", microseconds(250'000)},
                 {"3s", microseconds(3'000'000)},
                 {"1.5", microseconds(1'500'000)},
                 {"2m", microseconds(120'000'000)},
                 {"1h", microseconds(3'600'000'000)},
                 {"0s", std::nullopt},
                 {"-1s", std::nullopt},
                 {"1d", std::nullopt},
                 {"1 s", std::nullopt},
                 {"s", std::nullopt},
                 {"nan", std::nullopt},
                 {"inf", std::nullopt},
                 {"1e300h", std::nullopt},
                 {"99999999999h", std::nullopt},
                 {"", std::nullopt}};
    for (const auto& each : cases)
        EXPECT_EQ(ParseDuration(each.text), each.duration) << each.text;
}

}  // namespace
}  // namespace velmora::tool
