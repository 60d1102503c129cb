// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/condition.h"
#include "delivery/support.h"
#include "support/random.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <Poco/Timestamp.h>

#include <cmath>
#include <limits>
#include <vector>

namespace velmora::test {

/// A reading of one number at a time.
struct Reading {
    Poco::Timestamp::TimeVal time;
    double value;

    bool operator==(const Reading& other) const {
        return time == other.time &&
               (value == other.value || (std::isnan(value) && std::isnan(other.value)));
    }
};

using Readings = std::vector<Reading>;

inline void PrintTo(const Reading& reading, std::ostream* out) {
    *out << reading.value << " at " << reading.time;
}

/// Feeds readings to conditions and records the output.
class Harness : private delivery::Sink {
  public:
    Harness() { type.Add("x", core::tessaryn::Double, 1); }

    /// The readings that conditions let through, including those flushed at the end.
    Readings Run(delivery::ConditionChain conditions, const Readings& readings) {
        passed.clear();
        for (const Reading& reading : readings) {
            Feed(conditions, reading);
        }
        conditions.Flush(Poco::Timestamp::TIMEVAL_MAX, *this);
        return passed;
    }

    void Feed(delivery::ConditionChain& conditions, const Reading& reading,
              core::tessaryn::StreamChangeType kind = core::tessaryn::pushed) {
        Sample sample(&type, Poco::Timestamp(0));
        sample.Set(0, 0, reading.value);
        sample = Restamped(sample, Poco::Timestamp(reading.time));
        SubscriptionArgs change{kind, &sample, nullptr};
        conditions.Process(change, *this);
    }

    StreamType type;
    Readings passed;

  private:
    void Emit(SubscriptionArgs& change) override {
        passed.push_back(
            {change.sample->GetTimeStamp().epochMicroseconds(), change.sample->GetDouble(0, 0)});
    }
};

/// Whether a condition passes both of two samples with these elements.
inline bool PassesBoth(delivery::ConditionChain conditions, const std::vector<double>& first,
                       const std::vector<double>& second) {
    struct Counter : delivery::Sink {
        void Emit(SubscriptionArgs& /*change*/) override { ++count; }
        int count = 0;
    } counter;
    StreamType type;
    type.Add("x", core::tessaryn::Double, 0);
    for (const std::vector<double>& values : {first, second}) {
        Sample sample(&type, Poco::Timestamp(0));
        sample.Resize(0, static_cast<unsigned int>(values.size()));
        for (unsigned int i = 0; i < values.size(); ++i) {
            sample.Set(0, i, values[i]);
        }
        sample = Restamped(sample, Poco::Timestamp(0));
        SubscriptionArgs change{core::tessaryn::pushed, &sample, nullptr};
        conditions.Process(change, counter);
    }
    return counter.count == 2;
}

/// A series of small integers with equal timestamps, steps back, gaps and NaN.
inline Readings RandomReadings(Random& random, int count) {
    Readings readings;
    Poco::Timestamp::TimeVal time = -50;
    for (int i = 0; i < count; ++i) {
        const unsigned kind = random.Below(10);
        const int back = -static_cast<int>(random.Below(20));
        time += kind == 0 ? back : kind == 1 ? 100 : static_cast<int>(random.Below(6));
        const bool isNan = random.Below(12) == 0;
        readings.push_back({time, isNan ? std::numeric_limits<double>::quiet_NaN()
                                        : static_cast<double>(random.Below(7))});
    }
    return readings;
}

/// Without readings older than an earlier one.
inline Readings WithoutLate(const Readings& readings) {
    Readings kept;
    for (const Reading& reading : readings) {
        if (kept.empty() || reading.time >= kept.back().time) {
            kept.push_back(reading);
        }
    }
    return kept;
}

}  // namespace velmora::test
