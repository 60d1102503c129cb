// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <memory>
#include <string>

namespace velmora::tool {

/// Formats one line for a sample that matched a rule.
class SampleReporter {
  public:
    SampleReporter() = default;
    SampleReporter(const SampleReporter&) = delete;
    SampleReporter& operator=(const SampleReporter&) = delete;
    virtual ~SampleReporter() = default;

    /// Appends the line.
    /// \param rule the rule's text
    virtual void Report(std::string& out, const std::string& rule,
                        const core::tessaryn::Sample& sample) const = 0;
};

/// Lines with time, stream, the rule in brackets, and the entries as name=value; several elements
/// are [a;b].
/// \param type the type of the samples, with all its entries
std::unique_ptr<SampleReporter> MakeTextReporter(const std::string& stream,
                                                 const core::tessaryn::StreamType& type);

/// One JSON object per line: "time", "stream", "rule", and "entries" by name. Numbers are exact;
/// NaN and infinities are null, and bytes that are not UTF-8 become U+FFFD.
/// \param type the type of the samples, with all its entries
std::unique_ptr<SampleReporter> MakeJsonReporter(const std::string& stream,
                                                 const core::tessaryn::StreamType& type);

}  // namespace velmora::tool
