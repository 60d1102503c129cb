// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "terminal/sample_reporter.h"
#include "terminal/standard_output.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/subscription_rule.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::tool {

/// A rule that can't be evaluated for a sample, such as one whose value is no truth value.
class RuleError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// One rule of the command line: a subscription that counts and reports.
class RuleWatch {
  public:
    /// \param text the rule's text
    /// \throws CommandError with the parser's message when the text is no rule
    explicit RuleWatch(const std::string& text);
    /// The watch that reports every sample.
    RuleWatch();
    RuleWatch(const RuleWatch&) = delete;
    RuleWatch& operator=(const RuleWatch&) = delete;

    /// What is wrong between the rule and the type, one sentence each.
    std::vector<std::string> Check(const core::tessaryn::StreamType& type) const;

    /// Subscribes to a stream: matches go to the reporter, and by it to the output. A rule that
    /// can't be evaluated makes the push throw `RuleError`.
    /// \param stream the stream
    /// \param lineReporter \ownership observes
    /// \param lines \ownership observes
    void Subscribe(core::tessaryn::Stream& stream, const SampleReporter& lineReporter,
                   StandardOutput& lines);

    const std::string& GetText() const { return text; }
    std::uint64_t GetMatches() const { return matches; }

  private:
    void OnMatch(core::tessaryn::SubscriptionArgs& args);

    std::string text;
    bool everySample;
    std::unique_ptr<core::tessaryn::ISubscriptionRule> rule;
    const SampleReporter* reporter = nullptr;
    StandardOutput* output = nullptr;
    std::uint64_t matches = 0;
};

}  // namespace velmora::tool
