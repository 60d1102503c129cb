// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "plot/chart.h"
#include "process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace velmora::tool {
namespace {

using testing::HasSubstr;

TEST(PlotCommand, DrawsTheTerminalChartWithEvents) {
    std::string input = "time,x [bar],s\n";
    for (int i = 0; i < 60; ++i) {
        input += "2020-01-01T00:00:" + std::string(i < 10 ? "0" : "") + std::to_string(i) + "Z," +
                 std::to_string(i == 30 ? 50 : 0) + ",a\n";
    }
    const Outcome run = RunTool("plot - --rule x>9 --out-zone Asia/Tokyo", input);
    EXPECT_THAT(run.out, testing::StartsWith("stdin x (bar)\n        50 "));
    EXPECT_THAT(run.out, testing::MatchesRegex("(.|\n)*\n    events   {35,50}[^ ]+\n(.|\n)*"));
    EXPECT_THAT(run.out, testing::EndsWith("2020-01-01T09:00:59+09:00\n"));
    EXPECT_THAT(run.err, HasSubstr("60 rows read\n1 event marked\n"));
    ExpectFailure("plot - --to x.png", "--to 'x.png' does not end in .html or .svg", input);
    ExpectFailure("plot -", "there are no numbers to draw", "time,s\n2020-01-01,a\n");
}

TEST(PlotCommand, WritesPagesThatNoTextCanBreak) {
    const Folder folder;
    const std::string input = "time,x\n2020-01-01,1.25\n2020-01-02,3.5\n";
    for (const char* const name : {"r.html", "r.svg"}) {
        RunTool("plot - --as '</script><b>' --rule x>2 --to " + folder.PathOf(name), input);
        const std::string page = folder.Read(name);
        EXPECT_GT(page.size(), 500U);
        EXPECT_EQ(page.find("</script><b>"), std::string::npos) << name;
    }
    EXPECT_NE(folder.Read("r.html").find("points:[[0,1.25],[86400000,3.5],]"), std::string::npos);
}

TEST(Thin, KeepsThePeaksOfEachInterval) {
    std::vector<Point> points;
    for (int i = 0; i < 100'000; ++i) {
        points.push_back({i, i == 77'777 ? 500.0 : i == 33'333 ? -500.0 : i % 10});
    }
    const std::vector<Point> thinned = Thin(points, 100);
    EXPECT_LE(thinned.size(), 200U);
    const auto has = [&](std::int64_t time, double value) {
        return std::any_of(thinned.begin(), thinned.end(), [&](const Point& point) {
            return point.time == time && point.value == value;
        });
    };
    EXPECT_TRUE(has(77'777, 500) && has(33'333, -500));
    EXPECT_TRUE(std::is_sorted(thinned.begin(), thinned.end(),
                               [](auto& a, auto& b) { return a.time < b.time; }));
    EXPECT_EQ(Thin({points.begin(), points.begin() + 200}, 100).size(), 200U);
}

}  // namespace
}  // namespace velmora::tool
