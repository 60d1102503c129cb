// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/event_recorder.h"

#include "delivery/aggregates.h"
#include "tessaryn/sample_time.h"
#include "transfer/copy_entry.h"

#include <algorithm>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

std::string Replaced(std::string text, char from, char to) {
    std::replace(text.begin(), text.end(), from, to);
    return text;
}

}  // namespace

EventRecorder::EventRecorder(NamedRule& rule, const tsn::StreamType& type,
                             const std::string& stream, storage::HistoryWriter& writer)
    : rule(rule),
      path(stream + "/" + Replaced(rule.label, '/', '_')),
      writer(writer),
      type(Replaced(path, '/', '.'), utils::Version(1, 0, 0)) {
    delivery::Events events(rule.rule, FindNumericEntries(rule, type));
    const tsn::StreamType& made = *events.GetType();
    for (unsigned short id = 0; id < made.GetNumEntries(); ++id) {
        const tsn::SampleEntry entry = made.GetEntry(id);
        this->type.Get().Add(entry.key, entry.type, entry.initialSize);
    }
    chain = delivery::ConditionChain(std::move(events));
}

void EventRecorder::Flush() {
    chain.Flush(Poco::Timestamp(Poco::Timestamp::TIMEVAL_MAX), *this);
}

void EventRecorder::Emit(tsn::SubscriptionArgs& change) {
    tsn::Sample event(&type.Get(), Poco::Timestamp());
    for (unsigned short id = 0; id < type.Get().GetNumEntries(); ++id) {
        CopyEntry(*change.sample, id, event, id);
    }
    tsn::SetTimeStamp(event, change.sample->GetTimeStamp());
    writer.WriteIfNew(path, std::move(event));
    ++rule.matches;
}

}  // namespace velmora::tool
