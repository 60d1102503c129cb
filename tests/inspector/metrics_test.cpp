// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/client.h"

#include <string>

namespace velmora::test {

namespace {

class InspectorMetrics : public InspectorTest {
  protected:
    std::string Line(const std::string& beginning) const {
        const std::string text = "\n" + Get("/metrics").body;
        const std::size_t begin = text.find("\n" + beginning);
        return begin == std::string::npos
                   ? "none of " + beginning
                   : text.substr(begin + 1, text.find('\n', begin + 1) - begin - 1);
    }
};

TEST_F(InspectorMetrics, CountPushes) {
    streams.AddStream("a\"b\\c\nd", tank, 5);
    streams.AddStream("b", tank, 5);
    Start();
    for (int i = 0; i < 7; ++i) {
        Push("a\"b\\c\nd", i, 1);
    }
    streams.GetStream("a\"b\\c\nd").PopLatest();
    const std::string label = R"({stream="a\"b\\c\nd"} )";
    EXPECT_EQ(Line("velmora_stream_pushes_total{stream=\"a"),
              "velmora_stream_pushes_total" + label + "7");
    EXPECT_EQ(Line("velmora_stream_samples{"), "velmora_stream_samples" + label + "4");
    EXPECT_EQ(Line("velmora_stream_capacity_samples{"),
              "velmora_stream_capacity_samples" + label + "5");
    EXPECT_EQ(Line("velmora_stream_subscriptions{"), "velmora_stream_subscriptions" + label + "0");
    EXPECT_EQ(Get("/api/stream?path=b").Json()->getValue<int>("pushed"), 0);
}

TEST_F(InspectorMetrics, ShowWhatTheHostAdds) {
    streams.AddStream("a", tank, 5);
    options.gauges = {{"a", "level"}, {"a", "nosuch"}, {"nosuch", "level"}, {"a", "note"}};
    Start();
    EXPECT_EQ(Line("velmora_entry_value"), "none of velmora_entry_value");
    Push("a", 1'500'000, 4.5);
    inspector->AddCounter("plant_events_total", "Events\nof the plant.", [] { return 3.0; });
    inspector->AddGauge("plant_pressure_pascals", "Pressure.", [] { return 0.5; });
    inspector->AddRule("hot", "level > 1", [] { return std::uint64_t{2}; });
    inspector->AddDelivery("alarms", [] {
        delivery::DeliveryStatistics statistics;
        statistics.dropped = 9;
        return statistics;
    });
    EXPECT_EQ(Line("velmora_entry_value"), R"(velmora_entry_value{stream="a",entry="level"} 4.5)");
    EXPECT_EQ(Line("velmora_stream_newest_timestamp_seconds"),
              R"(velmora_stream_newest_timestamp_seconds{stream="a"} 1.5)");
    EXPECT_EQ(Line("velmora_rule_matches_total"), R"(velmora_rule_matches_total{rule="hot"} 2)");
    EXPECT_EQ(Line("velmora_delivery_dropped_total"),
              R"(velmora_delivery_dropped_total{delivery="alarms"} 9)");
    EXPECT_EQ(Line("plant_events_total"), "plant_events_total 3");
    EXPECT_EQ(Line("# HELP plant_events_total"), "# HELP plant_events_total Events of the plant.");
    EXPECT_EQ(Line("# TYPE plant_events_total"), "# TYPE plant_events_total counter");
    EXPECT_EQ(Line("plant_pressure_pascals"), "plant_pressure_pascals 0.5");
}

TEST_F(InspectorMetrics, AreBounded) {
    options.limits.maxMetricStreams = 2;
    for (const char* path : {"a", "b\xfe", "b\xff", "d"}) {
        streams.AddStream(path, tank, 5);
    }
    Start();
    EXPECT_EQ(Line("velmora_streams "), "velmora_streams 4");
    EXPECT_EQ(Line("velmora_streams_without_metrics"), "velmora_streams_without_metrics 2");
    EXPECT_EQ(Line("velmora_stream_samples{stream=\"d\"}").substr(0, 4), "none");
    // Invalid names are cleaned to the same one, which must occur only once.
    options.limits.maxMetricStreams = 9;
    Start();
    const std::string text = Get("/metrics").body;
    const std::string line = "velmora_stream_samples{stream=\"b\xEF\xBF\xBD\"}";
    EXPECT_NE(text.find(line), std::string::npos);
    EXPECT_EQ(text.find(line), text.rfind(line));
}

}  // namespace

}  // namespace velmora::test
