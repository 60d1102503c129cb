// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/aggregates.h"

#include "delivery/conditions.h"
#include "delivery/readings.h"
#include "delivery/support.h"
#include "delivery/tables.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <vector>

namespace velmora::test {
namespace {

using delivery::Deadband;
using delivery::Events;
using delivery::PercentOfRange;
using delivery::Window;

// Records summaries by the names of their entries.
class Summaries : public delivery::Sink {
  public:
    void Emit(SubscriptionArgs& change) override {
        const Sample& sample = *change.sample;
        const StreamType& type = *sample.GetStreamType();
        std::map<std::string, double> row;
        for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
            const core::tessaryn::SampleEntry entry = type.GetEntry(id);
            row[entry.key] = std::strtod(ToString(&sample, id, 0).c_str(), nullptr);
            if (entry.type == core::tessaryn::Double) {
                row[entry.key] = sample.GetDouble(id, 0);
            }
        }
        row["time"] = static_cast<double>(sample.GetTimeStamp().epochMicroseconds());
        rows.push_back(row);
    }

    std::vector<std::map<std::string, double>> rows;
};

bool IsSame(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) ||
           std::abs(a - b) <= 1e-12 * std::max(1.0, std::abs(b));
}

std::vector<std::map<std::string, double>> Summarize(delivery::ConditionChain chain,
                                                     Harness& harness, const Readings& readings) {
    Summaries summaries;
    for (const Reading& reading : readings) {
        Sample sample(&harness.type, Poco::Timestamp(0));
        sample.Set(0, 0, reading.value);
        sample = Restamped(sample, Poco::Timestamp(reading.time));
        SubscriptionArgs change{core::tessaryn::pushed, &sample, nullptr};
        chain.Process(change, summaries);
    }
    chain.Flush(Poco::Timestamp::TIMEVAL_MAX, summaries);
    return summaries.rows;
}

// Checks a summary against its readings.
void ExpectRow(const std::map<std::string, double>& row, const Readings& readings, double begin,
               double end) {
    Readings numbers;
    double sum = 0;
    for (const Reading& reading : readings) {
        if (!std::isnan(reading.value)) {
            numbers.push_back(reading);
            sum += reading.value;
        }
    }
    const auto less = [](const Reading& a, const Reading& b) { return a.value < b.value; };
    const double none = std::numeric_limits<double>::quiet_NaN();
    const auto bounds = std::minmax_element(numbers.begin(), numbers.end(), less);
    const std::map<std::string, double> expected = {
        {"begin", begin},
        {"end", end},
        {"time", end},
        {"count", static_cast<double>(readings.size())},
        {"x_count", static_cast<double>(numbers.size())},
        {"x_min", numbers.empty() ? none : bounds.first->value},
        {"x_max", numbers.empty() ? none : bounds.second->value},
        {"x_mean", numbers.empty() ? none : sum / static_cast<double>(numbers.size())},
        {"x_last", numbers.empty() ? none : numbers.back().value},
    };
    for (const auto& [name, value] : row) {
        ASSERT_TRUE(expected.count(name)) << name;
        EXPECT_TRUE(IsSame(value, expected.at(name)))
            << name << ": " << value << ", expected " << expected.at(name);
    }
}

TEST(Aggregates, AgreeWithModelsOnRandomSeries) {
    Random random;
    Harness harness;
    for (int round = 0; round < 200; ++round) {
        const Readings readings = RandomReadings(random, 60);
        const Readings series = WithoutLate(readings);

        std::map<double, Readings> byWindow;
        for (const Reading& reading : series) {
            byWindow[std::floor(static_cast<double>(reading.time) / 25) * 25].push_back(reading);
        }
        const auto windows = Summarize(Window(harness.type, 25us), harness, readings);
        ASSERT_EQ(windows.size(), byWindow.size());
        auto row = windows.begin();
        for (const auto& [begin, content] : byWindow) {
            ExpectRow(*row++, content, begin, begin + 25);
        }

        const auto counted = Summarize(Window(harness.type, std::size_t{7}), harness, readings);
        ASSERT_EQ(counted.size(), (series.size() + 6) / 7);
        for (std::size_t i = 0; i < counted.size(); ++i) {
            const auto first = series.begin() + static_cast<std::ptrdiff_t>(7 * i);
            const auto last =
                series.begin() + static_cast<std::ptrdiff_t>(std::min(7 * i + 7, series.size()));
            const Readings content(first, last);
            ExpectRow(counted[i], content, static_cast<double>(content.front().time),
                      static_cast<double>(content.back().time));
        }

        const auto events = Summarize(Events("x > 3", {"x"}), harness, readings);
        std::vector<Readings> runs;
        bool wasHigh = false;
        for (const Reading& reading : series) {
            const bool isHigh = reading.value > 3;
            if (isHigh && !wasHigh) {
                runs.emplace_back();
            }
            if (isHigh) {
                runs.back().push_back(reading);
            }
            wasHigh = isHigh;
        }
        ASSERT_EQ(events.size(), runs.size());
        for (std::size_t i = 0; i < runs.size(); ++i) {
            ExpectRow(events[i], runs[i], static_cast<double>(runs[i].front().time),
                      static_cast<double>(runs[i].back().time));
        }
    }
}

// The recording from which the table was made, without the same values and rows.
struct Recording {
    StreamType type;
    std::vector<Sample> samples;

    explicit Recording(const std::string& path) {
        type.Add("temperature", core::tessaryn::Double, 1)
            .Add("power", core::tessaryn::Double, 1)
            .Add("door_open", core::tessaryn::Double, 1);
        const auto rows = ReadTable(path);
        for (std::size_t minute = 0; minute < rows.size(); ++minute) {
            // A row a minute from midnight on, 2026-01-15.
            const auto hour = minute / 60;
            if (hour == 2 || hour == 3) {
                continue;
            }
            Sample sample(&type, Poco::Timestamp(0));
            const bool isMissing = minute % 60 % 7 == 3;
            sample.Set(0, 0, isMissing ? std::nan("") : Number(rows[minute][1]));
            sample.Set(1, 0, Number(rows[minute][3]));
            sample.Set(2, 0, Number(rows[minute][4]));
            const auto time =
                1768435200000000 + static_cast<Poco::Timestamp::TimeVal>(minute) * 60000000;
            samples.push_back(Restamped(sample, Poco::Timestamp(time)));
        }
    }
};

TEST(Window, AgreesWithTheResamplingOfPandas) {
    Recording recording(DELIVERY_TEST_DATA "/../../../examples/data/synthetic_cold_store.csv");
    std::map<std::string, Summaries> byDuration;
    for (const auto& [name, duration] :
         std::map<std::string, std::chrono::minutes>{{"10min", 10min}, {"90min", 90min}}) {
        delivery::ConditionChain chain = Window(recording.type, duration);
        for (Sample& sample : recording.samples) {
            SubscriptionArgs change{core::tessaryn::pushed, &sample, nullptr};
            chain.Process(change, byDuration[name]);
        }
        chain.Flush(Poco::Timestamp::TIMEVAL_MAX, byDuration[name]);
    }
    int compared = 0;
    for (const auto& cells : ReadTable(DELIVERY_TEST_DATA "/windows.csv")) {
        const auto& rows = byDuration.at(cells[0]).rows;
        const auto row = std::find_if(rows.begin(), rows.end(), [&](const auto& candidate) {
            return candidate.at("begin") == Number(cells[1]);
        });
        ASSERT_NE(row, rows.end()) << cells[0] << " " << cells[1];
        const std::vector<std::string> figures = {"_count", "_min", "_max", "_mean", "_last"};
        for (std::size_t i = 0; i < figures.size(); ++i) {
            EXPECT_TRUE(IsSame(row->at(cells[2] + figures[i]), Number(cells[3 + i])))
                << cells[0] << " " << cells[1] << " " << cells[2] << figures[i];
            ++compared;
        }
    }
    EXPECT_EQ(compared, 204 * 5);
}

TEST(Deadband, AgreesWithTheDataChangeFilterOfOpcUa) {
    int rows = 0;
    for (const auto& cells : ReadTable(DELIVERY_TEST_DATA "/deadband.csv")) {
        const std::vector<double> before = Numbers(cells[0]);
        const std::vector<double> after = Numbers(cells[1]);
        const double limit = Number(cells[2]);
        const PercentOfRange share{limit, Number(cells[3]), Number(cells[4])};
        EXPECT_EQ(PassesBoth(Deadband("x", limit), before, after), cells[5] == "1")
            << "row " << rows;
        EXPECT_EQ(PassesBoth(Deadband("x", share), before, after), cells[6] == "1")
            << "row " << rows;
        ++rows;
    }
    EXPECT_EQ(rows, 300);
}

TEST(Window, TakesEntriesOfOneNumberAndFillsASecondStream) {
    StreamType type;
    type.Add("level", core::tessaryn::Int32, 1)
        .Add("name", core::tessaryn::String, 1)
        .Add("valves", core::tessaryn::Bool, 4);
    Stream stream(&type, 10);
    const Window window(type, 1h);
    Stream summaries(window.GetType(), 10);
    Dispatcher dispatcher;
    Delivery delivery = dispatcher.Subscribe(
        stream, core::tessaryn::Always(),
        [&](Change& change) { summaries.PushNew(new Sample(std::move(change.sample))); },
        {.conditions = window});
    for (const int level : {3, 8, 4}) {
        stream.PushNew([&](Sample& sample) { sample.Set(0, 0, level); });
    }
    delivery.Flush();
    ASSERT_TRUE(delivery.Drain(patience));
    EXPECT_THAT(window.GetType()->GetEntryNames(),
                testing::ElementsAre("begin", "end", "count", "level_count", "level_min",
                                     "level_max", "level_mean", "level_last"));
    double mean = 0;
    summaries.GetAll([&](const auto& all) {
        for (const Sample* const sample : all) {
            mean += sample->GetDouble(sample->EntryId("level_mean"), 0) *
                    static_cast<double>(sample->GetUInt64(sample->EntryId("count"), 0)) / 3;
        }
    });
    // One window, or two if the hour has just changed.
    EXPECT_DOUBLE_EQ(mean, 5);
}

TEST(Aggregates, RefuseEmptyWindows) {
    const StreamType type;
    EXPECT_THROW(Window(type, 0s), std::invalid_argument);
    EXPECT_THROW(Window(type, std::size_t{0}), std::invalid_argument);
}

}  // namespace
}  // namespace velmora::test
