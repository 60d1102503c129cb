// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/row_pump.h"

#include "command_error.h"
#include "text/escaped_text.h"
#include "transfer/copy_entry.h"

#include <memory>
#include <stdexcept>

namespace velmora::tool {

namespace tsn = core::tessaryn;

bool RowPump::Open(SampleSource& opened) {
    source = &opened;
    if (!source->Open(type)) {
        return false;
    }
    const std::string name = "source " + Quoted(context.config.name);
    if (context.log.Forget(name)) {
        context.log.Write(LogLevel::info, name + " is read again");
    }
    for (const std::string& note : source->GetNotes()) {
        context.log.Write(LogLevel::info, name + ": " + note);
    }
    return true;
}

RowPump::Target RowPump::MakeTarget(const std::string& name) {
    Target target;
    target.stream = &context.plant.OpenStream(name, type, source->GetUnits());
    const tsn::StreamType& own = *target.stream->stream->GetStreamType();
    target.isSameLayout = own.HasSameLayout(type);
    std::string lost;
    for (unsigned short id = 0; id < type.GetNumEntries() && !target.isSameLayout; ++id) {
        const tsn::SampleEntry entry = type.GetEntry(id);
        const bool isThere =
            own.EntryExists(entry.key) && own.GetType(own.EntryId(entry.key)) == entry.type;
        if (isThere) {
            target.entries.emplace_back(id, own.EntryId(entry.key));
        } else {
            lost += (lost.empty() ? "" : ", ") + entry.key + ":" + ToString(entry.type);
        }
    }
    if (!lost.empty()) {
        context.log.WriteLimited(LogLevel::warning, "entries " + context.config.name,
                                 "source " + Quoted(context.config.name) + ": stream " +
                                     Quoted(name) + " does not have " + lost +
                                     ", which is left out");
    }
    return target;
}

RowPump::Target& RowPump::FindTarget() {
    const std::string_view own = source->GetStreamName();
    const bool isJoined = !context.config.stream.empty() || own.empty();
    const std::string_view name = isJoined ? std::string_view(defaultStream) : own;
    if (last != nullptr && name == lastName) {
        return *last;
    }
    auto place = targets.find(name);
    if (place == targets.end()) {
        place = targets.emplace(name, MakeTarget(std::string(name))).first;
    }
    last = &place->second;
    lastName = name;
    return *last;
}

void RowPump::Push(std::int64_t time) {
    Target* target = nullptr;
    try {
        target = &FindTarget();
    } catch (const std::exception& error) {
        // Rows may have invalid names of streams.
        ++context.counts.skipped;
        context.log.WriteLimited(LogLevel::warning, "stream of " + context.config.name,
                                 source->GetPosition() + ": " + error.what());
        return;
    }
    const Poco::Timestamp stamp(time);
    auto sample = std::make_unique<tsn::Sample>(target->stream->stream->GetStreamType(), stamp);
    if (target->isSameLayout) {
        source->Fill(*sample);
    } else {
        tsn::Sample row(&type, stamp);
        source->Fill(row);
        for (const auto& [from, to] : target->entries) {
            CopyEntry(row, from, *sample, to);
        }
    }
    *sample = Restamped(std::move(*sample), stamp);
    context.plant.Push(*target->stream, std::move(sample), resumes);
    ++context.counts.rows;
}

void RowPump::PushAll(const SignalWatcher& signals) {
    while (!signals.IsStopped() && source->Next()) {
        Push(source->GetTime());
    }
}

SourceSettings MakeSourceSettings(const FeedContext& context) {
    const SourceConfig& config = context.config;
    SourceSettings settings;
    settings.table = config.table;
    settings.streamName = config.stream;
    settings.follow = config.follow && !config.replay;
    settings.maxMemory = std::uint64_t{1} << 30U;
    settings.table.onSkipped = [&context](const std::string& reason) {
        ++context.counts.skipped;
        context.log.WriteLimited(LogLevel::warning, "rows of " + context.config.name, reason);
    };
    return settings;
}

}  // namespace velmora::tool
