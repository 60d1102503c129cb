// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/named_rule.h"
#include "delivery/condition.h"
#include "storage/history_writer.h"
#include "tessaryn/stream_type.h"
#include "transfer/named_type.h"

#include <string>

namespace velmora::tool {

/// Writes each time that a rule is true as one sample: begin, end, count, and the extremes of the
/// numbers that the rule names.
class EventRecorder : private delivery::Sink {
  public:
    /// \param rule \ownership observes
    /// \param type of the samples to add
    /// \param stream path of their stream; that of the events is STREAM/RULE
    /// \param writer \ownership observes: must not outlive the recorder
    EventRecorder(NamedRule& rule, const core::tessaryn::StreamType& type,
                  const std::string& stream, storage::HistoryWriter& writer);
    EventRecorder(const EventRecorder&) = delete;
    EventRecorder& operator=(const EventRecorder&) = delete;

    /// \throws what the rule throws
    void Add(core::tessaryn::SubscriptionArgs& change) { chain.Process(change, *this); }
    /// Writes the open event.
    void Flush();

  private:
    void Emit(core::tessaryn::SubscriptionArgs& change) override;

    NamedRule& rule;
    std::string path;
    storage::HistoryWriter& writer;
    NamedType type;
    delivery::ConditionChain chain;
};

}  // namespace velmora::tool
