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
#include <string>
#include <vector>

namespace velmora::tool {

/// One rule of the command line: a subscription that counts and reports.
class RuleWatch {
  public:
    /// \param text the rule's text
    /// \throws CommandError when the text is not a rule, with the place in the text
    explicit RuleWatch(const std::string& text);
    /// The watch that reports every sample.
    RuleWatch();
    RuleWatch(const RuleWatch&) = delete;
    RuleWatch& operator=(const RuleWatch&) = delete;

    struct Warning {
        std::string sentence;
        /// The place in the rule, as lines.
        std::string excerpt;
    };
    /// What is wrong between the rule and the type.
    std::vector<Warning> Check(const core::tessaryn::StreamType& type) const;

    /// Subscribes to a stream: matches go to the reporter, and through it to the output.
    /// \param lineReporter \ownership observes
    /// \param lineOutput \ownership observes
    void Subscribe(core::tessaryn::Stream& stream, const SampleReporter& lineReporter,
                   StandardOutput& lineOutput);

    /// Why the rule cannot be evaluated for the newest sample of a stream, after a push threw;
    /// empty when it can.
    std::string DescribeFailure(const core::tessaryn::Stream& stream) const;

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
