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

    /// What a subscription does with a change, for a sample that no stream has.
    void See(core::tessaryn::SubscriptionArgs& args) {
        if (needsOthers) {
            OnChange(args);
        } else if (isConditional || rule.isEverySample || rule.rule.Applies(args)) {
            OnMatch(args);
        }
    }

    /// The number of a row as the sender of a change, which conditions pass on with what they hold
    /// back.
    static void* ToSender(std::uintptr_t row) {
        return reinterpret_cast<void*>(row);  // NOLINT(performance-no-int-to-ptr)
    }

    /// Reports what is held back, at the end of the stream.
    void Flush();

    /// Why the rule cannot be evaluated for a sample, after that threw; empty when it can.
    std::string DescribeFailure(core::tessaryn::Sample sample) const;

    /// The type of events, as long as this object lives; null where rows are reported.
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
    /// Whether the chain asks the rule itself.
    bool isConditional;
    /// Whether something is done with samples for which the rule is false.
    bool needsOthers;
    bool wasTrue = false;
    bool reported = false;
    /// Rows that may come to stand before a match.
    std::deque<Waiting> before;
    /// Until when rows follow a match.
    std::int64_t afterUntil = INT64_MIN;
};

}  // namespace velmora::tool
