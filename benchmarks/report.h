// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <benchmark/benchmark.h>

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace velmora::benchmarks {

/// Collects the shortest time of each benchmark over its repetitions: disturbances only ever add.
/// Of a benchmark of several threads, which disturb each other, the mean counts.
class Report : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;

    /// Writes the tables of the benchmarks that were run.
    void Print(std::ostream& out) const;

    /// The lines that exceed their goal by more than a tenth.
    std::vector<std::string> Failures() const;

    /// By the benchmark's name.
    const std::map<std::string, double>& GetTimes() const { return nanoseconds; }

    bool HasFailed() const { return failed; }

  private:
    std::map<std::string, double> nanoseconds;
    std::map<std::string, int> repetitions;
    bool failed = false;
};

}  // namespace velmora::benchmarks
