// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"
#include "text/time_printer.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// The parts of a line other than the values.
struct LineLabel {
    /// The name or the text of the rule.
    std::string_view rule;
    /// The reason for a line that is not a match: "before", "after", "begin" or "end".
    std::string_view context{};
};

/// Options for lines.
struct LineSettings {
    std::string stream;
    /// Units of the entries, in their order; may be empty.
    std::vector<std::string> units;
    /// Names of the entries to write; empty for all.
    std::vector<std::string> columns;
    /// \ownership observes
    TimePrinter* times = nullptr;
};

/// Formats one line for a sample that matched a rule.
class SampleReporter {
  public:
    SampleReporter() = default;
    SampleReporter(const SampleReporter&) = delete;
    SampleReporter& operator=(const SampleReporter&) = delete;
    virtual ~SampleReporter() = default;

    /// Appends the line.
    virtual void Report(std::string& out, const LineLabel& label,
                        const core::tessaryn::Sample& sample) const = 0;

    /// Appends the line of an event.
    /// \param event a sample from `delivery::Events`
    virtual void ReportEvent(std::string& out, const LineLabel& label,
                             const core::tessaryn::Sample& event) const = 0;
};

/// Lines with time, stream, the rule in brackets, and the entries as name=value with the unit;
/// several elements are [a;b], a missing value is "-".
/// \param type the type of the samples, with all its entries
std::unique_ptr<SampleReporter> MakeTextReporter(const LineSettings& settings,
                                                 const core::tessaryn::StreamType& type);

/// One JSON object per line: "time", "stream", "rule", "entries" by name, and "units" by name if
/// there are any. Numbers are exact; NaN, infinities and missing values are null, and bytes that
/// are not UTF-8 become U+FFFD. Lines that are not matches have a "context". Events have "end",
/// "seconds" and "rows" before the entries.
/// \param type the type of the samples, with all its entries
std::unique_ptr<SampleReporter> MakeJsonReporter(const LineSettings& settings,
                                                 const core::tessaryn::StreamType& type);

}  // namespace velmora::tool
