// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/named_rule.h"
#include "commands/watch_options.h"
#include "delivery/condition.h"
#include "terminal/sample_reporter.h"
#include "terminal/standard_output.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <string>

namespace velmora::tool {

/// One rule on one stream: a subscription that filters, counts and reports.
class RuleWatch : private delivery::Sink {
  public:
    /// Where lines and samples go.
    struct Target {
        /// \ownership observes
        const SampleReporter* reporter = nullptr;
        /// \ownership observes
        StandardOutput* output = nullptr;
        /// Called with each sample that was reported and its row, or with each event.
        std::function<void(const core::tessaryn::Sample&, std::uintptr_t row)> keep{};
    };

    /// \param rule \ownership observes
    /// \param filter \ownership observes
    /// \param type of the stream's samples
    RuleWatch(NamedRule& rule, const WatchFilter& filter, const core::tessaryn::StreamType& type,
              Target target);
    RuleWatch(const RuleWatch&) = delete;
    RuleWatch& operator=(const RuleWatch&) = delete;

    /// Subscribes to a stream. The sender of its changes is the number of the row.
    void Subscribe(core::tessaryn::Stream& stream);

    /// Handles a sample that is not in a stream, as the subscription would.
    void See(core::tessaryn::SubscriptionArgs& args) {
        if (needsOthers) {
            OnChange(args);
        } else if (isConditional || rule.isEverySample || rule.rule.Applies(args)) {
            OnMatch(args);
        }
    }

    /// The number of a row as the sender of a change; conditions keep it with samples that they
    /// hold back.
    static void* ToSender(std::uintptr_t row) {
        return reinterpret_cast<void*>(row);  // NOLINT(performance-no-int-to-ptr)
    }

    /// Reports the samples held back, at the end of the stream.
    void Flush();

    /// Why evaluating the rule for a sample has thrown; empty if it does not throw.
    std::string DescribeFailure(core::tessaryn::Sample sample) const;

    /// The type of events, which lives as long as this object; null if rows are reported.
    core::tessaryn::StreamType* GetEventType() const { return eventType; }
    const NamedRule& GetRule() const { return rule; }

  private:
    struct Waiting {
        core::tessaryn::Sample sample;
        std::uintptr_t row;
    };

    void OnMatch(core::tessaryn::SubscriptionArgs& args);
    void OnChange(core::tessaryn::SubscriptionArgs& args);
    void Emit(core::tessaryn::SubscriptionArgs& change) override;
    void Write(std::string_view context, const core::tessaryn::Sample& sample, std::uintptr_t row);
    void WriteBefore(std::int64_t time);
    void DropOld(std::int64_t time);
    void AddContext(const core::tessaryn::Sample& sample, std::uintptr_t row);

    NamedRule& rule;
    const WatchFilter& filter;
    Target target;
    delivery::ConditionChain chain;
    core::tessaryn::StreamType* eventType = nullptr;
    bool hasContext;
    /// Whether the chain evaluates the rule itself.
    bool isConditional;
    /// Whether samples for which the rule is false are needed.
    bool needsOthers;
    bool wasTrue = false;
    bool reported = false;
    /// Rows that may turn out to precede a match.
    std::deque<Waiting> before;
    /// Up to which time rows follow a match.
    std::int64_t afterUntil = INT64_MIN;
};

}  // namespace velmora::tool
