// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/client.h"
#include "storage/history_writer.h"
#include "support/folder.h"

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <vector>

namespace velmora::test {

namespace {

class InspectorSamples : public InspectorTest {
  protected:
    InspectorSamples() { streams.AddStream("a", tank, 10'000); }

    // The levels of all pages of an answer.
    std::vector<double> ReadPages(const std::string& address) {
        std::vector<double> levels;
        std::string after;
        for (int page = 0; page < 1000; ++page) {
            const auto reply = Get(address + after).Json();
            for (const auto& level : *reply->getObject("entries")->getArray("level")) {
                levels.push_back(level.convert<double>());
            }
            if (reply->isNull("next")) {
                return levels;
            }
            after = "&after=" + reply->getValue<std::string>("next");
        }
        ADD_FAILURE() << "no end";
        return levels;
    }
};

TEST_F(InspectorSamples, ListsARange) {
    for (int i = 0; i < 5; ++i) {
        Push("a", 10 * i, i, static_cast<std::uint64_t>(i));
    }
    Start();
    EXPECT_EQ(Get("/api/samples?path=a&since=10&until=20&entries=level").body,
              R"({"times":[10,20],"entries":{"level":[1,2]},"next":null})");
    EXPECT_EQ(Get("/api/samples?path=a&last=1&limit=2&entries=level,alarms").body,
              R"({"times":[30,40],"entries":{"level":[3,4],"alarms":[[3,0],[4,0]]},"next":null})");
    EXPECT_EQ(Get("/api/samples?path=a&rule=level+%3E+2.5&limit=1&entries=").body,
              R"({"times":[30],"entries":{},"next":"30.1"})");
    EXPECT_EQ(Get("/api/samples?path=a&rule=level+%3E+2.5&last=1&until=30&entries=level").body,
              R"({"times":[30],"entries":{"level":[3]},"next":null})");
    EXPECT_EQ(Get("/api/samples?path=a&rule=note%5B0%5D&entries=level").body,
              R"({"times":[],"entries":{"level":[]},"next":null})");
    for (const char* wrong : {"path=a&entries=nosuch", "path=b"}) {
        EXPECT_EQ(Get(std::string("/api/samples?") + wrong).status, 404) << wrong;
    }
    for (const char* wrong : {"path=a&since=5&until=4", "path=a&after=x", "path=a&after=1",
                              "path=a&rule=level+%3E", "path=a&from=file", "since=1"}) {
        EXPECT_EQ(Get(std::string("/api/samples?") + wrong).status, 400) << wrong;
    }
    EXPECT_EQ(Get("/api/samples?path=a&from=history").status, 404);
}

// For any times, the pages have each sample once, in the order of time.
TEST_F(InspectorSamples, PagesWithoutGapsOrRepetitions) {
    std::mt19937 random(7);
    const struct {
        const char* name;
        std::function<std::int64_t(int)> time;
    } rows[] = {
        {"ascending", [](int i) { return i * 1000; }},
        {"one time", [](int) { return 5; }},
        {"descending", [](int i) { return -i; }},
        {"random", [&](int) { return static_cast<std::int64_t>(random() % 100'000); }},
        {"few times", [&](int) { return static_cast<std::int64_t>(random() % 3); }},
        {"a jump", [](int i) { return i < 2500 ? i : std::int64_t{1} << 50U; }},
    };
    options.limits.maxSamples = 333;
    Start();
    for (const auto& row : rows) {
        streams.GetStream("a").Clear(core::tessaryn::Stream::clearSamples);
        std::vector<std::pair<std::int64_t, double>> expected;
        for (int i = 0; i < 3000; ++i) {
            expected.emplace_back(row.time(i), i);
            Push("a", expected.back().first, i);
        }
        std::stable_sort(expected.begin(), expected.end(),
                         [](const auto& a, const auto& b) { return a.first < b.first; });
        std::vector<double> levels;
        std::transform(expected.begin(), expected.end(), std::back_inserter(levels),
                       [](const auto& sample) { return sample.second; });
        EXPECT_EQ(ReadPages("/api/samples?path=a&entries=level"), levels) << row.name;
        const auto last = Get("/api/samples?path=a&last=1&limit=1&entries=level").Json();
        EXPECT_EQ(last->getArray("times")->getElement<std::int64_t>(0), expected.back().first)
            << row.name;
    }
}

TEST_F(InspectorSamples, DownloadsCsvInParts) {
    Push("a", 0, 0.1, 7, "x;\"y\"\n");
    Push("a", 1'500'000, -1e300);
    Push("a", INT64_MAX, 1);
    Start();
    const std::string address = "/samples.csv?path=a";
    const Reply reply = Get(address);
    EXPECT_NE(reply.head.find("Content-Type: text/csv"), std::string::npos);
    EXPECT_NE(reply.head.find("attachment"), std::string::npos);
    EXPECT_EQ(reply.body,
              "time,level,alarms,note\n"
              "1970-01-01T00:00:00.000000Z,0.1,7;0,\"x;\"\"y\"\"\n\"\n"
              "1970-01-01T00:00:01.500000Z,-1e+300,0;0,\n"
              "9223372036854775807,1,0;0,\n");
    for (int i = 0; i < 9000; ++i) {
        Push("a", i, i);
    }
    const std::string text = Get(address + "&entries=level&rule=level+%3E%3D+1").body;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 9001);
    // On a persistent connection the answer comes in chunks, followed by the next answer.
    RawClient client(Port());
    client.Send("GET " + address +
                " HTTP/1.1\r\nHost: localhost\r\n\r\n"
                "GET /healthz HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    const std::string both = client.ReadAll();
    EXPECT_NE(both.find("Transfer-Encoding: chunked"), std::string::npos);
    EXPECT_NE(both.find("\r\n0\r\n\r\nHTTP/1.1 200 OK"), std::string::npos);
}

TEST_F(InspectorSamples, ThinsCharts) {
    for (int i = 0; i < 1000; ++i) {
        Push("a", i, i % 2 == 0 ? i : -i);
    }
    Push("a", 1000, std::numeric_limits<double>::quiet_NaN());
    Start();
    EXPECT_EQ(
        Get("/api/chart?path=a&entries=level&points=2&since=0&until=999&rule=level+%3E+996").body,
        R"({"since":0,"until":999,"complete":true,"entries":{"level":{"times":[0,500],)"
        R"("min":[-499,-999],"max":[498,998]}},"matches":[[998,998]]})");
    // Numbers next to NaN count.
    EXPECT_EQ(Get("/api/chart?path=a&entries=level&since=999&points=1").body,
              R"({"since":999,"until":1000,"complete":true,"entries":{"level":{"times":[999],)"
              R"("min":[-999],"max":[-999]}},"matches":[]})");
    EXPECT_EQ(Get("/api/chart?path=a&since=1000&entries=level").body,
              R"({"since":1000,"until":1000,"complete":true,"entries":{"level":{"times":[1000],)"
              R"("min":[null],"max":[null]}},"matches":[]})");
    const auto all = Get("/api/chart?path=a").Json();
    EXPECT_EQ(all->getObject("entries")->size(), 2U);
    EXPECT_EQ(Get("/api/chart?path=a&since=2&until=1").status, 400);
    const std::string extremes = "&since=-9223372036854775808&until=9223372036854775807&points=3";
    EXPECT_EQ(Get("/api/chart?path=a&entries=level" + extremes).status, 200);
}

TEST_F(InspectorSamples, ShowsTheHistoryBeforeTheRing) {
    const test::Folder folder;
    options.history = folder.PathOf("history.db");
    for (int i = 0; i < 10; ++i) {
        Push("a", i, i);
    }
    {
        storage::HistoryWriter writer(options.history);
        streams.GetStream("a").GetAll([&](const std::vector<core::tessaryn::Sample*>& samples) {
            for (const core::tessaryn::Sample* const sample : samples) {
                writer.Write("a", *sample);
            }
        });
    }
    // The ring no longer has the first samples.
    streams.Remove("a");
    streams.AddStream("a", tank, 5);
    for (int i = 5; i < 12; ++i) {
        Push("a", i, i);
    }
    Start();
    EXPECT_EQ(Get("/api/samples?path=a&from=history&entries=level&limit=2").body,
              R"({"times":[0,1],"entries":{"level":[0,1]},"next":"1.1"})");
    EXPECT_EQ(ReadPages("/api/samples?path=a&from=history&entries=level&limit=3").size(), 10U);
    EXPECT_EQ(Get("/api/samples?path=a&from=history&entries=level&last=1&limit=1").body,
              R"({"times":[9],"entries":{"level":[9]},"next":null})");
    EXPECT_EQ(Get("/api/chart?path=a&entries=level&since=2&rule=level+%3E+3&points=100").body,
              R"({"since":2,"until":11,"complete":true,"entries":{"level":{)"
              R"("times":[2,3,4,5,6,7,8,9,10,11],"min":[2,3,4,5,6,7,8,9,10,11],)"
              R"("max":[2,3,4,5,6,7,8,9,10,11]}},"matches":[[4,11]]})");
    options.history = "/nosuch/history.db";
    Start();
    EXPECT_EQ(Get("/api/samples?path=a&from=history").status, 503);
}

TEST_F(InspectorSamples, ChecksRules) {
    Start();
    const auto check = [&](const std::string& rule, const std::string& of = "path=a") {
        return Get("/api/check?" + of + "&rule=" + rule).body;
    };
    EXPECT_EQ(check("level+%3E+8"), R"({"ok":true,"findings":[]})");
    EXPECT_EQ(check("level+%3E+8", "type=area/Tank"), R"({"ok":true,"findings":[]})");
    EXPECT_EQ(check("levle+%3E+8"), R"({"ok":false,"findings":[{"severity":"warning","message":)"
                                    R"("The stream type has no entry 'levle'","begin":0,"end":5,)"
                                    R"("hint":"did you mean 'level'?"}]})");
    // A character of two UTF-16 code units and four bytes.
    const std::string wide = check("note+%3D%3D+%22%F0%9F%98%80%22+%26%26+level+%3E");
    EXPECT_NE(wide.find(R"("severity":"error")"), std::string::npos) << wide;
    EXPECT_NE(wide.find(R"("begin":23,"end":23)"), std::string::npos) << wide;
    EXPECT_NE(check(std::string(2001, 'a')).find("longer than 2000"), std::string::npos);
    std::string deep;
    for (int i = 0; i < 51; ++i) {
        deep += '(';
    }
    EXPECT_NE(check(deep).find("nested more than 50"), std::string::npos);
    EXPECT_EQ(Get("/api/check?path=nosuch&rule=x").status, 404);
    EXPECT_EQ(Get("/api/check?type=nosuch&rule=x").status, 404);
}

TEST_F(InspectorSamples, BoundsTheWorkOfARule) {
    tank->Add("wide", core::tessaryn::Double, 10'000);
    streams.AddStream("wide", tank, 3);
    Push("wide", 1, 1);
    Start();
    std::string rule = "wide%3E%3D0";
    EXPECT_EQ(Get("/api/samples?path=wide&entries=level&rule=" + rule).status, 200);
    for (int i = 0; i < 30; ++i) {
        rule += "%26%26wide%3E%3D0";
    }
    EXPECT_EQ(Get("/api/samples?path=wide&entries=level&rule=" + rule).status, 400);
}

}  // namespace

}  // namespace velmora::test
