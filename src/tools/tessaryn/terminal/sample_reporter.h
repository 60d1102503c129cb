// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <memory>
#include <string>

namespace velmora::tool {

/// Writes one line for a sample that a rule asked for.
class SampleReporter {
  public:
    SampleReporter() = default;
    SampleReporter(const SampleReporter&) = delete;
    SampleReporter& operator=(const SampleReporter&) = delete;
    virtual ~SampleReporter() = default;

    /// \param out where the line is appended
    /// \param rule the rule's text
    /// \param sample the sample
    virtual void Report(std::string& out, const std::string& rule,
                        const core::tessaryn::Sample& sample) const = 0;
};

/// Lines for people: the time, the stream, the rule in brackets, the entries as name=value;
/// several elements are [a;b].
/// \param stream the stream's name
/// \param type the samples' type, complete
std::unique_ptr<SampleReporter> MakeTextReporter(const std::string& stream,
                                                 const core::tessaryn::StreamType& type);

/// One JSON object a line: "time", "stream", "rule", and "entries" by name. Numbers are exact; what
/// JSON has no number for (NaN, infinities) is null, and bytes that are no UTF-8 are U+FFFD.
/// \param stream the stream's name
/// \param type the samples' type, complete
std::unique_ptr<SampleReporter> MakeJsonReporter(const std::string& stream,
                                                 const core::tessaryn::StreamType& type);

}  // namespace velmora::tool
