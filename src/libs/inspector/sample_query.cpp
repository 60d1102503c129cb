// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/sample_query.h"

#include "inspector/request_error.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

namespace velmora::inspector {

using core::tessaryn::Sample;
using core::tessaryn::Stream;
using core::tessaryn::StreamType;

SampleQuery::SampleQuery(const Model& model, const Request& request)
    : path(request.Require("path")) {
    range.from = request.GetInteger("since").value_or(range.from);
    range.to = request.GetInteger("until").value_or(range.to);
    if (const std::string text(request.Get("rule")); !text.empty()) {
        rule = ParseClientRule(text, model.options.limits);
    }
    const std::string_view from = request.Get("from");
    isFromHistory = from == "history";
    if (!from.empty() && from != "ring" && !isFromHistory) {
        throw RequestError(400, "The parameter 'from' is neither ring nor history.");
    }
    const StreamType* type = nullptr;
    model.Visit(path, [&](const Stream& stream) { type = stream.GetStreamType(); });
    if (type == nullptr) {
        throw RequestError(404, "The stream has no type.");
    }
    entries = SelectEntries(
        *type,
        request.Has("entries") ? std::optional<std::string>(request.Get("entries")) : std::nullopt,
        model.options.limits);
}

std::unique_ptr<SampleBatches> SampleQuery::Open(const Model& model, bool isBackwards) const {
    if (range.from > range.to) {
        throw RequestError(400, "The range ends before it begins.");
    }
    if (isFromHistory) {
        return std::make_unique<HistoryBatches>(model, path, range, isBackwards);
    }
    return std::make_unique<RingBatches>(model, path, range, isBackwards);
}

const std::vector<ShownEntry>& EntryLookup::Find(const Sample& sample) {
    if (sample.GetStreamType() != type) {
        type = sample.GetStreamType();
        found = entries;
        for (ShownEntry& entry : found) {
            const bool exists = type != nullptr && type->EntryExists(entry.name);
            entry.id = exists ? type->EntryId(entry.name) : StreamType::invalidEntryId;
            entry.type = exists ? type->GetType(entry.id) : core::tessaryn::UnknownType;
        }
    }
    return found;
}

}  // namespace velmora::inspector
