// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"
#include "statistics/number_stats.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

namespace velmora::tool {
namespace {

TEST(StatsCommand, PrintsFiguresOfNumbers) {
    const std::string input =
        "time,x [bar],s,y\n2020-01-01T00:00:00Z,1,a,5\n2020-01-01T00:01:00Z,3,b,-\n"
        "2020-01-01T00:02:00Z,-,c,5\n2020-01-01T00:30:00Z,8,d,\n2020-01-01T01:00:00Z,4,,5\n"
        "2020-01-01T00:59:00Z,4,,5\n2020-01-01T01:01:00Z,4,,5\n";
    EXPECT_EQ(
        RunTool("stats - --quiet --out-zone Asia/Tokyo", input).out,
        "stdin: 7 rows, 2020-01-01T09:00:00+09:00 to 2020-01-01T10:01:00+09:00, 1 time out of "
        "order\n"
        "  2 gaps longer than 2m, the longest 30m from 2020-01-01T09:30:00+09:00\n"
        "  entry  count  missing  min  mean  max       sd  median  p99\n"
        "  x          6        1    1     4    8  2.28035       4    8 bar\n"
        "  y          5        2    5     5    5        0       5    5\n");
    EXPECT_EQ(RunTool("stats - --quiet --every 1h --columns x --output ndjson", input).out,
              R"({"stream":"stdin","from":"2020-01-01T00:00:00Z","rows":4,"first":)"
              R"("2020-01-01T00:00:00Z","last":"2020-01-01T00:30:00Z","out_of_order":0,"entries":[)"
              R"({"name":"x","unit":"bar","count":3,"missing":1,"min":1,"mean":4,"max":8,)"
              R"("sd":3.605551275463989,"median":3,"p99":8}]})"
              "\n"
              R"({"stream":"stdin","from":"2020-01-01T01:00:00Z","rows":3,"first":)"
              R"("2020-01-01T00:59:00Z","last":"2020-01-01T01:01:00Z","out_of_order":1,"entries":[)"
              R"({"name":"x","unit":"bar","count":3,"missing":0,"min":4,"mean":4,"max":4,)"
              R"("sd":0,"median":4,"p99":4}]})"
              "\n");
    ExpectFailure("stats - --every soon", "--every 'soon' is not a duration", input);
}

TEST(NumberStats, EstimatesQuantilesOfManyNumbersWithinTheBound) {
    // Series for which a sketch with few markers is wrong: drifting ones, and ones with rare
    // bursts.
    const auto drift = [](int i) { return std::sin(i * 1e-6) * 1000 + i % 7; };
    const auto bursts = [](int i) { return i % 100'000 < 5000 ? 1e6 + i : i % 1000; };
    for (const auto& series :
         {std::function<double(int)>(drift), std::function<double(int)>(bursts)}) {
        constexpr int count = 1'000'000;
        NumberStats stats;
        for (int i = 0; i < count; ++i) {
            stats.Add(series(i));
        }
        for (const double share : {0.5, 0.99}) {
            const double estimate = stats.GetQuantile(share);
            int below = 0;
            int equal = 0;
            for (int i = 0; i < count; ++i) {
                below += series(i) < estimate ? 1 : 0;
                equal += series(i) == estimate ? 1 : 0;
            }
            // Twice the bound that holds in 95 of 100 cases.
            const double bound = 4 * std::sqrt(share * (1 - share) / NumberStats::maxKept) * count;
            EXPECT_LE(below, share * count + bound);
            EXPECT_GE(below + equal, share * count - bound);
        }
    }
}

}  // namespace
}  // namespace velmora::tool
