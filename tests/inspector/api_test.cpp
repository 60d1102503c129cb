// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/client.h"

#include <cmath>
#include <limits>

namespace velmora::test {

namespace {

using core::tessaryn::Stream;

class InspectorApi : public InspectorTest {};

TEST_F(InspectorApi, DescribesTheHost) {
    streams.AddStream("a", tank, 1);
    options.title = "</script><b>";
    Start();
    std::uint64_t matches = 7;
    inspector->AddRule("hot", "level > 1", [&] { return matches; });
    inspector->AddDelivery("alarms", [] {
        delivery::DeliveryStatistics statistics;
        statistics.delivered = 3;
        statistics.dropped = 2;
        return statistics;
    });
    Reply reply = Get("/api/about");
    EXPECT_EQ(reply.status, 200);
    const auto about = reply.Json();
    EXPECT_EQ(about->getValue<std::string>("title"), "</script><b>");
    EXPECT_EQ(about->getValue<int>("streams"), 1);
    EXPECT_EQ(about->getValue<int>("types"), 2);
    EXPECT_EQ(about->getArray("rules")->getObject(0)->getValue<int>("matches"), 7);
    EXPECT_EQ(about->getArray("deliveries")->getObject(0)->getValue<int>("dropped"), 2);
    inspector->RemoveRule("hot");
    inspector->RemoveDelivery("alarms");
    EXPECT_NE(Get("/api/about").body.find(R"("rules":[],"deliveries":[])"), std::string::npos);
    EXPECT_THROW(inspector->AddRule("x", "", nullptr), std::invalid_argument);
    EXPECT_THROW(inspector->AddCounter("plant events", "", [] { return 1.0; }),
                 std::invalid_argument);
    EXPECT_THROW(inspector->AddCounter("plant_events", "", [] { return 1.0; }),
                 std::invalid_argument);
}

TEST_F(InspectorApi, ListsTheTreeInPages) {
    for (const char* path : {"b/x", "b/y/z", "b-c", "b", "a"}) {
        streams.AddStream(path, tank, 5);
    }
    Push("a", 7, 1.5);
    Start();
    EXPECT_EQ(Get("/api/tree").body,
              R"({"path":"","total":4,"children":[)"
              R"({"name":"a","path":"a","kind":"stream","type":"area.Tank","samples":1,)"
              R"("capacity":5,"time":7},)"
              R"({"name":"b","path":"b","kind":"stream","type":"area.Tank","samples":0,)"
              R"("capacity":5,"time":null},)"
              R"({"name":"b","path":"b","kind":"group","streams":2},)"
              R"({"name":"b-c","path":"b-c","kind":"stream","type":"area.Tank","samples":0,)"
              R"("capacity":5,"time":null}]})");
    EXPECT_EQ(Get("/api/tree?path=b&offset=1&limit=1").body,
              R"({"path":"b","total":2,"children":[)"
              R"({"name":"y","path":"b/y","kind":"group","streams":1}]})");
    EXPECT_EQ(Get("/api/tree?path=nosuch").body, R"({"path":"nosuch","total":0,"children":[]})");
    EXPECT_EQ(Get("/api/search?q=B%2Fy").body,
              R"({"total":1,"streams":[{"path":"b/y/z","type":"area.Tank","samples":0,)"
              R"("capacity":5,"time":null}]})");
    EXPECT_EQ(Get("/api/search?q=&limit=0").body, R"({"total":5,"streams":[]})");
    EXPECT_EQ(Get("/api/types").body,
              R"({"total":2,"types":[{"name":"Any","version":"0.0.1","entries":0},)"
              R"({"name":"area.Tank","version":"1.0.0","entries":3}]})");
    // A client cannot raise the limit of an answer.
    options.limits.maxItems = 2;
    Start();
    EXPECT_EQ(Get("/api/search?limit=1000").Json()->getArray("streams")->size(), 2U);
    EXPECT_EQ(Get("/api/newest?path=a&path=b&path=c").status, 400);
}

TEST_F(InspectorApi, SeesStreamsThatComeAndGo) {
    Start();
    EXPECT_EQ(Get("/api/search").body, R"({"total":0,"streams":[]})");
    streams.AddStream("a", tank, 1);
    while (Get("/api/search").Json()->getValue<int>("total") == 0) {
    }
    EXPECT_EQ(Get("/api/stream?path=a").status, 200);
    streams.Remove("a");
    EXPECT_EQ(Get("/api/stream?path=a").status, 404);
    while (Get("/api/search").Json()->getValue<int>("total") == 1) {
    }
}

TEST_F(InspectorApi, DescribesAStream) {
    Stream& stream = *streams.AddStream("a", tank, 5);
    options.unit = [](const std::string& path, const std::string& entry) {
        return path == "a" && entry == "level" ? "m" : "";
    };
    Start();
    EXPECT_NE(Get("/api/stream?path=a").body.find(R"("newest":null)"), std::string::npos);
    const std::int64_t now = Poco::Timestamp().epochMicroseconds();
    Push("a", now - 1'000'000, 0.1);
    Push("a", now, 0.1, 18446744073709551615U, "<\xff\"\n\x01>");
    const Reply reply = Get("/api/stream?path=a");
    const auto seen = reply.Json();
    EXPECT_EQ(seen->getValue<std::string>("type"), "area.Tank");
    EXPECT_EQ(seen->getValue<std::string>("version"), "1.0.0");
    EXPECT_EQ(seen->getValue<int>("samples"), 2);
    EXPECT_EQ(seen->getValue<int>("subscribers"), static_cast<int>(stream.CountSubscriptions()));
    EXPECT_DOUBLE_EQ(seen->getValue<double>("rate"), 1.0);
    EXPECT_EQ(seen->getArray("entries")->getObject(0)->getValue<std::string>("unit"), "m");
    EXPECT_FALSE(seen->getArray("entries")->getObject(1)->has("unit"));
    EXPECT_NE(reply.body.find(R"("values":{"level":0.1,"alarms":["18446744073709551615",0],)"
                              "\"note\":\"<\xEF\xBF\xBD\\\"\\n\\u0001>\"}}"),
              std::string::npos)
        << reply.body;
    EXPECT_EQ(Get("/api/stream?path=b").status, 404);
    EXPECT_EQ(Get("/api/stream?path=a%00").status, 404);
    EXPECT_EQ(Get("/api/stream").status, 400);
    EXPECT_EQ(
        Get("/api/newest?path=a&path=nosuch").Json()->getObject("a")->getValue<Poco::Int64>("time"),
        now);
}

// Names and texts with markup stay texts in JSON, which browsers do not render as a page.
TEST_F(InspectorApi, EscapesNamesThatAreMarkup) {
    const std::string name = "<img src=x onerror=alert(1)>\"'&\xff";
    tank->Add(name, core::tessaryn::Int8, 20);
    streams.AddStream(name, tank, 1)->PushNew([](core::tessaryn::Sample&) {});
    Start();
    const Reply reply = Get("/api/tree");
    EXPECT_NE(reply.head.find("Content-Type: application/json"), std::string::npos);
    EXPECT_NE(reply.head.find("X-Content-Type-Options: nosniff"), std::string::npos);
    EXPECT_NE(reply.body.find("\"name\":\"<img src=x onerror=alert(1)>\\\"'&\xEF\xBF\xBD\""),
              std::string::npos)
        << reply.body;
    const std::string address =
        "/api/stream?path=%3Cimg%20src%3Dx+onerror%3Dalert(1)%3E%22%27%26%FF";
    const auto sizes = Get(address).Json()->getObject("newest")->getObject("sizes");
    EXPECT_EQ(sizes->getValue<int>("<img src=x onerror=alert(1)>\"'&\xEF\xBF\xBD"), 20);
}

TEST_F(InspectorApi, WritesNumbersThatJsonLacks) {
    streams.AddStream("a", tank, 5);
    Start();
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double value : {std::nan(""), infinity, -infinity}) {
        Push("a", 1, value);
        EXPECT_NE(Get("/api/stream?path=a").body.find(R"("level":null)"), std::string::npos);
    }
    Push("a", 1, 1e-300, std::uint64_t{1} << 53U);
    const std::string body = Get("/api/stream?path=a").body;
    EXPECT_NE(body.find(R"("level":1e-300,"alarms":[9007199254740992,0])"), std::string::npos)
        << body;
}

}  // namespace

}  // namespace velmora::test
