// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/conditions.h"

#include "delivery/readings.h"
#include "delivery/support.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <stdexcept>

namespace velmora::test {
namespace {

using core::tessaryn::popped;
using delivery::ConditionChain;
using delivery::Deadband;
using delivery::EveryNth;
using delivery::Falling;
using delivery::HeldFor;
using delivery::Hysteresis;
using delivery::MinInterval;
using delivery::OnChange;
using delivery::PercentOfRange;
using delivery::Rising;
using testing::ElementsAre;

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

// Readings that a predicate picks by index from those in order.
Readings Picked(const Readings& readings, const std::function<bool(std::size_t)>& isPicked) {
    Readings picked;
    for (std::size_t i = 0; i < readings.size(); ++i) {
        if (isPicked(i)) {
            picked.push_back(readings[i]);
        }
    }
    return picked;
}

// The models look back over the series instead of keeping a state.

std::size_t BeginOfRun(const Readings& readings, std::size_t i, double above) {
    while (i > 0 && readings[i - 1].value > above) {
        --i;
    }
    return i;
}

bool IsHeld(const Readings& readings, std::size_t i, double above, Poco::Timestamp::TimeVal time) {
    return readings[i].value > above &&
           readings[i].time - readings[BeginOfRun(readings, i, above)].time >= time;
}

Readings ModelOfDeadband(const Readings& readings, double limit) {
    Readings passed;
    for (const Reading& reading : readings) {
        if (passed.empty() || std::isnan(reading.value) != std::isnan(passed.back().value) ||
            std::abs(reading.value - passed.back().value) > limit) {
            passed.push_back(reading);
        }
    }
    return passed;
}

Readings ModelOfMinInterval(const Readings& readings, Poco::Timestamp::TimeVal interval) {
    Readings passed;
    std::size_t i = 0;
    while (i < readings.size()) {
        passed.push_back(readings[i]);
        auto end = readings[i++].time + interval;
        for (;;) {
            const std::size_t begin = i;
            while (i < readings.size() && readings[i].time < end) {
                ++i;
            }
            if (i == begin) {
                break;
            }
            passed.push_back(readings[i - 1]);
            end += interval;
        }
    }
    return passed;
}

Readings ModelOfHysteresis(const Readings& readings, double on, double off) {
    // On if the last reading at or beyond either threshold was at or beyond `on`.
    const auto isOn = [&](std::size_t end) {
        for (std::size_t i = end; i-- > 0;) {
            if (readings[i].value >= on || readings[i].value <= off) {
                return readings[i].value >= on;
            }
        }
        return false;
    };
    return Picked(readings, [&](std::size_t i) { return isOn(i) != isOn(i + 1); });
}

TEST(Conditions, AgreeWithModelsOnRandomSeries) {
    Random random;
    Harness harness;
    for (int round = 0; round < 200; ++round) {
        const Readings readings = RandomReadings(random, 80);
        const Readings series = WithoutLate(readings);
        const auto isHigh = [&](std::size_t i) { return series[i].value > 3; };
        EXPECT_EQ(harness.Run(OnChange("x"), readings), Picked(series, [&](std::size_t i) {
                      return i == 0 || !(Reading{series[i].time, series[i - 1].value} == series[i]);
                  }));
        EXPECT_EQ(harness.Run(Rising("x > 3"), readings), Picked(series, [&](std::size_t i) {
                      return isHigh(i) && (i == 0 || !isHigh(i - 1));
                  }));
        EXPECT_EQ(harness.Run(Falling("x > 3"), readings), Picked(series, [&](std::size_t i) {
                      return i > 0 && !isHigh(i) && isHigh(i - 1);
                  }));
        EXPECT_EQ(harness.Run(HeldFor("x > 3", 7us), readings), Picked(series, [&](std::size_t i) {
                      return IsHeld(series, i, 3, 7) &&
                             (i == BeginOfRun(series, i, 3) || !IsHeld(series, i - 1, 3, 7));
                  }));
        EXPECT_EQ(harness.Run(Deadband("x", 1), readings), ModelOfDeadband(series, 1));
        EXPECT_EQ(harness.Run(Deadband("x", PercentOfRange{25, -4, 4}), readings),
                  ModelOfDeadband(series, 2));
        EXPECT_EQ(harness.Run(Hysteresis("x", 5, 1), readings), ModelOfHysteresis(series, 5, 1));
        EXPECT_EQ(harness.Run(MinInterval(10us), readings), ModelOfMinInterval(series, 10));
        EXPECT_EQ(harness.Run(EveryNth(3), readings),
                  Picked(series, [](std::size_t i) { return i % 3 == 0; }));
        EXPECT_EQ(harness.Run(OnChange("x") | EveryNth(2), readings),
                  harness.Run(EveryNth(2), harness.Run(OnChange("x"), readings)));
    }
}

TEST(ConditionChain, IgnoresAndCountsLateReadingsAndIgnoresRemovedOnes) {
    Harness harness;
    ConditionChain chain = EveryNth(1);
    harness.Feed(chain, {10, 1});
    harness.Feed(chain, {9, 2});
    harness.Feed(chain, {20, 3}, popped);
    harness.Feed(chain, {10, 4});
    EXPECT_EQ(harness.passed, (Readings{{10, 1}, {10, 4}}));
    EXPECT_EQ(chain.GetLate(), 1U);
    ConditionChain empty;
    harness.passed.clear();
    harness.Feed(empty, {10, 1});
    harness.Feed(empty, {9, 2}, popped);
    EXPECT_EQ(harness.passed, (Readings{{10, 1}, {9, 2}}));
}

TEST(MinInterval, DeliversWhatItHoldsBackOnceItIsDue) {
    Harness harness;
    ConditionChain chain = MinInterval(10us);
    const auto flush = [&](Poco::Timestamp::TimeVal now) {
        class Counter : public delivery::Sink {
          public:
            void Emit(SubscriptionArgs&) override { ++count; }
            int count = 0;
        } counter;
        chain.Flush(Poco::Timestamp(now), counter);
        return counter.count;
    };
    harness.Feed(chain, {0, 1});
    EXPECT_EQ(flush(100), 0) << "nothing is held back";
    harness.Feed(chain, {4, 2});
    harness.Feed(chain, {6, 3});
    EXPECT_EQ(flush(9), 0) << "not due yet";
    EXPECT_EQ(flush(10), 1);
    harness.Feed(chain, {19, 4});
    EXPECT_EQ(harness.passed, (Readings{{0, 1}})) << "the next interval began at 10";
}

// Arrays and types other than numbers, in addition to the random series of numbers.
struct ArrayCase {
    const char* name;
    std::vector<double> before;
    std::vector<double> after;
    bool differs;
    bool isBeyondOne;
};

TEST(Conditions, CompareArraysElementByElement) {
    const std::vector<ArrayCase> cases = {
        {"equal", {1, 2}, {1, 2}, false, false},
        {"one element beyond", {1, 2}, {1, 3.5}, true, true},
        {"within", {1, 2}, {2, 1}, true, false},
        {"sum beyond, elements within", {0, 0, 0}, {1, 1, 1}, true, false},
        {"longer", {1}, {1, 1}, true, true},
        {"empty to empty", {}, {}, false, false},
        {"empty to one", {}, {0}, true, true},
        {"became NaN", {1}, {nan}, true, true},
        {"stays NaN", {nan}, {nan}, false, false},
        {"stays infinite", {infinity}, {infinity}, false, false},
        {"other infinity", {infinity}, {-infinity}, true, true},
    };
    for (const ArrayCase& test : cases) {
        SCOPED_TRACE(test.name);
        EXPECT_EQ(PassesBoth(OnChange("x"), test.before, test.after), test.differs);
        EXPECT_EQ(PassesBoth(Deadband("x", 1), test.before, test.after), test.isBeyondOne);
        EXPECT_FALSE(PassesBoth(OnChange("another"), test.before, test.after));
    }
}

TEST(OnChange, ComparesEveryValueType) {
    StreamType type;
    const std::vector<core::tessaryn::BaseType> types = {
        core::tessaryn::Int8,   core::tessaryn::Int16,  core::tessaryn::Int32,
        core::tessaryn::Int64,  core::tessaryn::UInt8,  core::tessaryn::UInt16,
        core::tessaryn::UInt32, core::tessaryn::UInt64, core::tessaryn::Float,
        core::tessaryn::Double, core::tessaryn::Bool,   core::tessaryn::String};
    for (const core::tessaryn::BaseType entry : types) {
        type.Add(ToString(entry), entry, 1);
    }
    Stream stream(&type, 10);
    Dispatcher dispatcher;
    for (unsigned short id = 0; id < types.size(); ++id) {
        SCOPED_TRACE(ToString(types[id]));
        int calls = 0;
        Delivery delivery =
            dispatcher.Subscribe(stream, core::tessaryn::Always(), [&](Change&) { ++calls; },
                                 {.conditions = OnChange(ToString(types[id]))});
        for (const char* const text : {"1", "1", "0", "0"}) {
            stream.PushNew([&](Sample& sample) {
                sample.Set(id, 0, std::string(text));
                sample.Set(id == 2 ? 3 : 2, 0, static_cast<int>(stream.GetMaxSize()));
            });
        }
        ASSERT_TRUE(delivery.Drain(patience));
        EXPECT_EQ(calls, 2);
    }
}

TEST(Conditions, RefuseArgumentsWithoutAMeaning) {
    EXPECT_THROW(Deadband("x", -1), std::invalid_argument);
    EXPECT_THROW(Deadband("x", nan), std::invalid_argument);
    EXPECT_THROW(Deadband("x", PercentOfRange{1, 5, 5}), std::invalid_argument);
    EXPECT_THROW(Hysteresis("x", 1, 1), std::invalid_argument);
    EXPECT_THROW(Hysteresis("x", nan, 1), std::invalid_argument);
    EXPECT_THROW(HeldFor("x > 1", -1us), std::invalid_argument);
    EXPECT_THROW(MinInterval(0us), std::invalid_argument);
    EXPECT_THROW(EveryNth(0), std::invalid_argument);
}

TEST(Hysteresis, WorksDownwardsToo) {
    Harness harness;
    const Readings readings = {{0, 5}, {1, 2}, {2, 1}, {3, 4}, {4, 0}, {5, 6}, {6, nan}, {7, 1}};
    EXPECT_EQ(harness.Run(Hysteresis("x", 1, 5), readings), (Readings{{2, 1}, {5, 6}, {7, 1}}));
}

TEST(Delivery, HasConditionsOfItsOwnAndCountsLateChanges) {
    Harness harness;
    Stream stream(&harness.type, 100);
    const auto push = [&](const Reading& reading) {
        Sample sample(&harness.type, Poco::Timestamp(0));
        sample.Set(0, 0, reading.value);
        stream.PushNew(new Sample(Restamped(sample, Poco::Timestamp(reading.time))));
    };
    std::vector<double> values;
    const DeliveryOptions options = {.conditions = Rising("x > 1") | MinInterval(10us)};
    Dispatcher dispatcher;
    Delivery first = dispatcher.Subscribe(
        stream, core::tessaryn::Always(),
        [&](const Change& change) { values.push_back(change.sample.GetDouble(0, 0)); }, options);
    push({0, 2});
    push({1, 0});
    Delivery second = dispatcher.Subscribe(
        stream, core::tessaryn::Always(), [](Change&) {}, options);
    push({2, 3});
    push({1, 0});
    ASSERT_TRUE(dispatcher.Drain(patience));
    EXPECT_THAT(values, ElementsAre(2));
    first.Flush();
    ASSERT_TRUE(dispatcher.Drain(patience));
    EXPECT_THAT(values, ElementsAre(2, 3));
    EXPECT_EQ(first.GetStatistics().late, 1U);
    EXPECT_EQ(second.GetStatistics().delivered, 1U) << "it has seen nothing of the first";
}

}  // namespace
}  // namespace velmora::test
