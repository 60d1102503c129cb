// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace velmora::benchmarks {

/// The values of all samples in benchmarks of pushes and queries: 40 bytes of data.
struct Values {
    double temperature;             ///< 30.0 to 31.75
    std::array<float, 4> pressure;  ///< the last one is negative, the others aren't
    int state;                      ///< 0 to 2
    std::string label;              ///< 12 characters
};

/// The ids of the entries, for every contender.
enum Entry : unsigned short {
    temperatureId = 0,
    pressureId = 1,
    stateId = 2,
    labelId = 3,
    // Of the type with more entries only, where they keep the value 0.
    serialId = 4,
    openId = 5,
    levelId = 6
};

/// Capacity of a ring by default.
constexpr int ringSize = 1024;

/// Microseconds between two samples in queries by time: ten minutes, so that the answer stays the
/// same while the benchmarks run.
constexpr long long sampleDistance = 600'000'000;

/// The time span of about a hundred samples.
constexpr long long hundredSamples = 99 * sampleDistance + sampleDistance / 2;

/// Number of rules in the benchmark of many.
constexpr int manyRules = 100;

/// The literals of the k-th rule of many: `temperature > TemperatureLimit(k) && state ==
/// StateLimit(k)`.
constexpr double TemperatureLimit(int k) {
    return 20.0 + 0.2 * k;
}
constexpr int StateLimit(int k) {
    return 3 + k;
}

/// Eight value sets, used in turn.
inline const std::array<Values, 8>& ValueSets() {
    static const std::array<Values, 8> sets = [] {
        std::array<Values, 8> made;
        for (std::size_t i = 0; i < made.size(); ++i) {
            const float step = 0.25F * static_cast<float>(i);
            made[i] = {30.0 + 0.25 * static_cast<double>(i),
                       {1.0F + step, 2.0F + step, 3.0F + step, -1.0F - step},
                       static_cast<int>(i % 3),
                       "label-10000" + std::to_string(i + 1)};
        }
        return made;
    }();
    return sets;
}

/// Returns the value sets in turn.
class ValueSource {
  public:
    const Values& Next() { return sets[count++ % sets.size()]; }

  private:
    const std::array<Values, 8>& sets = ValueSets();
    std::size_t count = 0;
};

/// The seven setter calls of a push.
template <class AnySample>
void Fill(AnySample& sample, const Values& values) {
    sample.Set(temperatureId, 0, values.temperature);
    for (unsigned int i = 0; i < values.pressure.size(); ++i) {
        sample.Set(pressureId, i, values.pressure[i]);
    }
    sample.Set(stateId, 0, values.state);
    sample.Set(labelId, values.label);
}

/// Register the benchmarks, named "<op>/<contender>", such as "P0/floor".
void RegisterPushBenchmarks();
void RegisterRuleBenchmarks();
void RegisterQueryBenchmarks();
void RegisterBatchBenchmarks();
void RegisterSampleBenchmarks();
void RegisterLookupBenchmarks();
void RegisterDocumentBenchmarks();
void RegisterSnapshotBenchmarks();
void RegisterDeliveryBenchmarks();
void RegisterHistoryBenchmarks();
void RegisterExchangeBenchmarks();
void RegisterBoostBenchmarks();
void RegisterSqliteBenchmarks();

}  // namespace velmora::benchmarks
