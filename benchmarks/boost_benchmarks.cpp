// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// What a host would otherwise build from Boost: a circular buffer, a signal, and lambdas as rules.
// It does less: a record has one time stamp, and types and rules are fixed at compile time.

#include "workload.h"

#include <Poco/Timestamp.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/circular_buffer.hpp>
#include <boost/signals2.hpp>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace velmora::benchmarks {
namespace {

struct Record {
    Values values;
    Poco::Timestamp time;
};

class RecordRing {
  public:
    explicit RecordRing(int size) : records(static_cast<std::size_t>(size)) {}

    void Push(Record record) {
        const std::lock_guard<std::mutex> lock(mutex);
        records.push_back(std::move(record));
        changed(records.back());
    }

    template <class Use>
    void GetSince(const Poco::Timestamp& since, Use use) {
        const std::lock_guard<std::mutex> lock(mutex);
        const auto first =
            std::partition_point(records.begin(), records.end(),
                                 [&](const Record& record) { return record.time < since; });
        std::vector<const Record*> found;
        found.reserve(static_cast<std::size_t>(records.end() - first));
        for (auto place = first; place != records.end(); ++place) {
            found.push_back(&*place);
        }
        use(found);
    }

    boost::signals2::signal<void(const Record&)> changed;

  private:
    std::mutex mutex;
    boost::circular_buffer<Record> records;
};

enum class Rules { none, always, one, many };

void Push(benchmark::State& state, Rules rules) {
    RecordRing ring(ringSize);
    ValueSource source;
    const auto push = [&] { ring.Push({source.Next(), Poco::Timestamp()}); };
    for (int i = 0; i < ringSize + ringSize / 2; ++i) {
        push();
    }
    long long calls = 0;
    const auto connect = [&](double limit, int wanted) {
        ring.changed.connect([limit, wanted, &calls](const Record& record) {
            if (record.values.temperature > limit && record.values.state == wanted) {
                ++calls;
            }
        });
    };
    if (rules == Rules::always) {
        ring.changed.connect([&calls](const Record& /*record*/) { ++calls; });
    }
    if (rules == Rules::one) {
        connect(25.5, 3);
    }
    for (int k = 0; rules == Rules::many && k < manyRules; ++k) {
        connect(TemperatureLimit(k), StateLimit(k));
    }
    for (auto _ : state) {
        push();
    }
    if ((calls > 0) != (rules == Rules::always)) {
        state.SkipWithError("the lambda was called at the wrong times");
    }
}

RecordRing& RingOf(int size) {
    static std::map<int, std::unique_ptr<RecordRing>> rings;
    std::unique_ptr<RecordRing>& ring = rings[size];
    if (!ring) {
        ring = std::make_unique<RecordRing>(size);
        ValueSource source;
        const Poco::Timestamp now;
        const int pushes = size + size / 2;
        for (int i = 0; i < pushes; ++i) {
            ring->Push({source.Next(), now - sampleDistance * (pushes - 1 - i)});
        }
    }
    return *ring;
}

void QueryLast(benchmark::State& state, int size) {
    RecordRing& ring = RingOf(size);
    std::size_t found = 0;
    for (auto _ : state) {
        ring.GetSince(Poco::Timestamp() - hundredSamples,
                      [&](const std::vector<const Record*>& records) { found = records.size(); });
        benchmark::DoNotOptimize(found);
    }
    if (found < 98 || found > 100) {
        state.SkipWithError("an answer of another size");
    }
}

}  // namespace

void RegisterBoostBenchmarks() {
    benchmark::RegisterBenchmark("P0/boost", Push, Rules::none);
    benchmark::RegisterBenchmark("P1/boost", Push, Rules::always);
    benchmark::RegisterBenchmark("P2/boost", Push, Rules::one);
    benchmark::RegisterBenchmark("P3/boost", Push, Rules::many);
    for (const int size : {1024, 100'000, 1'000'000}) {
        const std::string name = "Q1." + std::to_string(size) + "/boost";
        benchmark::RegisterBenchmark(name.c_str(), QueryLast, size);
    }
}

}  // namespace velmora::benchmarks
