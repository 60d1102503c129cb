// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// stream_benchmark [--gate] [--plots=FOLDER] [Google Benchmark's own arguments]: measures
// everything beside its floor and prints the ratios as Markdown; with --plots it writes pictures of
// how costs grow. With --gate it exits with 1 if a ratio exceeds its goal by more than a tenth; it
// exits with 2 if something could not be measured.

#include "plots.h"
#include "report.h"
#include "workload.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

namespace {

int Run(int argc, char** argv) {
    // Short repetitions in random order: a disturbance then affects all benchmarks alike, and some
    // repetition of each is undisturbed.
    std::vector<std::string> arguments{argv[0], "--benchmark_enable_random_interleaving=true",
                                       "--benchmark_repetitions=16", "--benchmark_min_time=0.05"};
    bool gate = false;
    std::string plots;
    const std::string plotsOption = "--plots=";
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--gate") == 0) {
            gate = true;
        } else if (std::string(argv[i]).starts_with(plotsOption)) {
            plots = argv[i] + plotsOption.size();
        } else {
            arguments.emplace_back(argv[i]);
        }
    }
    std::vector<char*> pointers;
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    int count = static_cast<int>(pointers.size());
    benchmark::Initialize(&count, pointers.data());
    if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) {
        return 2;
    }

    velmora::benchmarks::RegisterPushBenchmarks();
    velmora::benchmarks::RegisterRuleBenchmarks();
    velmora::benchmarks::RegisterQueryBenchmarks();
    velmora::benchmarks::RegisterBatchBenchmarks();
    velmora::benchmarks::RegisterSampleBenchmarks();
    velmora::benchmarks::RegisterLookupBenchmarks();
    velmora::benchmarks::RegisterDocumentBenchmarks();
    velmora::benchmarks::RegisterSnapshotBenchmarks();
    velmora::benchmarks::RegisterDeliveryBenchmarks();
    velmora::benchmarks::RegisterHistoryBenchmarks();
    velmora::benchmarks::RegisterExchangeBenchmarks();
    velmora::benchmarks::RegisterBoostBenchmarks();
    velmora::benchmarks::RegisterSqliteBenchmarks();

    velmora::benchmarks::Report report;
    if (benchmark::RunSpecifiedBenchmarks(&report) == 0) {
        return 2;
    }
    report.Print(std::cout);
    if (report.HasFailed()) {
        return 2;
    }
    if (!plots.empty()) {
        velmora::benchmarks::WritePlots(report.GetTimes(), plots);
    }
    const std::vector<std::string> failures = report.Failures();
    for (const std::string& failure : failures) {
        std::cerr << "exceeds its goal by more than a tenth: " << failure << '\n';
    }
    return gate && !failures.empty() ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return Run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "stream_benchmark: " << error.what() << '\n';
        return 2;
    }
}
