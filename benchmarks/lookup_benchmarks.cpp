// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Look-ups: a stream by its path, and the entries of a stream type by name while the type is built,
// whose cost must not grow with the number of entries.

#include "floor_repository.h"
#include "streams.h"
#include "tessaryn/stream_repository.h"

#include <Poco/Logger.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <ctime>
#include <string>
#include <vector>

namespace velmora::benchmarks {
namespace {

// The paths of 1,000 streams, in an order that jumps from group to group.
const std::vector<std::string>& Paths() {
    static const std::vector<std::string> paths = [] {
        constexpr int streams = 1000;
        std::vector<std::string> made;
        for (int i = 0; i < streams; ++i) {
            const int k = i * 379 % streams;
            made.push_back("plant/line" + std::to_string(k / 50) + "/stream" +
                           std::to_string(k % 50));
        }
        return made;
    }();
    return paths;
}

template <class Find>
void LookUp(benchmark::State& state, Find find) {
    const std::vector<std::string>& paths = Paths();
    std::size_t i = 0;
    bool missed = false;
    for (auto _ : state) {
        const void* found = find(paths[i]);
        benchmark::DoNotOptimize(found);
        missed = missed || found == nullptr;
        i = i + 1 < paths.size() ? i + 1 : 0;
    }
    if (missed) {
        state.SkipWithError("a stream was not found");
    }
}

void LookUpOurs(benchmark::State& state) {
    core::tessaryn::StreamRepository repository(Poco::Logger::root(), '/');
    for (const std::string& path : Paths()) {
        repository.AddStream(path, &TypeOfValues(), 1);
    }
    LookUp(state, [&](const std::string& path) { return repository.GetStreamPtr(path); });
}

void LookUpFloor(benchmark::State& state) {
    FloorRepository repository;
    int item = 0;
    for (const std::string& path : Paths()) {
        repository.Add(path, &item);
    }
    LookUp(state, [&](const std::string& path) { return repository.Find(path); });
}

class NamedParent : public core::INamedObject {
  public:
    explicit NamedParent(const std::string& parentName) : name(parentName) {}
    std::string GetName() const override { return name; }
    std::string GetFullName() const override { return name; }

  private:
    std::string name;
};

// CPU time: building a large type takes long enough to be interrupted.
double ThreadSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

// Adds the entries and looks each up. Destroying the type is not measured.
void BuildType(benchmark::State& state, const std::string& name, int entries) {
    std::vector<std::string> keys;
    for (int i = 0; i < entries; ++i) {
        keys.push_back("entry" + std::to_string(100'000 + i));
    }
    const NamedParent parent(name);
    unsigned int sum = 0;
    for (auto _ : state) {
        const double begin = ThreadSeconds();
        StreamType type(utils::Version(1, 0, 0), &parent);
        for (const std::string& key : keys) {
            type.Add(key, core::tessaryn::Double, 1);
        }
        for (const std::string& key : keys) {
            sum += type.EntryId(key);
        }
        benchmark::DoNotOptimize(sum);
        state.SetIterationTime((ThreadSeconds() - begin) / entries);
    }
}

}  // namespace

void RegisterLookupBenchmarks() {
    benchmark::RegisterBenchmark("L1/ours", LookUpOurs);
    benchmark::RegisterBenchmark("L1/floor", LookUpFloor);
    for (const int entries : {100, 10'000, 60'000}) {
        // One type a repetition if that is long enough to measure.
        const int iterations = std::max(1, 20'000 / entries);
        const auto add = [&](const std::string& op, const std::string& name) {
            benchmark::RegisterBenchmark((op + "." + std::to_string(entries) + "/ours").c_str(),
                                         BuildType, name, entries)
                ->UseManualTime()
                ->Iterations(iterations)
                ->Repetitions(40);
        };
        add("T.ordinary", "Reading");
        add("T.well-known", "DataPoint");
    }
}

}  // namespace velmora::benchmarks
