// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <benchmark/benchmark.h>

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace velmora::benchmarks {

/// The least time that each benchmark took in any repetition: what disturbs only ever adds.
class Report : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;

    /// Writes the tables of what was run.
    void Print(std::ostream& out) const;

    /// The lines that miss their goal by more than a tenth.
    std::vector<std::string> Misses() const;

    bool HasFailed() const { return failed; }

  private:
    std::map<std::string, double> nanoseconds;
    bool failed = false;
};

}  // namespace velmora::benchmarks
