// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "transfer/source_reader.h"

#include "command_error.h"
#include "remote/nats_address.h"
#include "terminal/message.h"
#include "tessaryn/sample_time.h"

#include <algorithm>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

SourceReader::SourceReader(const std::string& file, const SourceSettings& settings,
                           SignalWatcher& signals) {
    if (file == "-" || file == "host" || IsNatsAddress(file)) {
        throw CommandError("a file is converted; tessaryn record writes what goes on to a history");
    }
    Open(file, settings, signals);
    path = input->stream;
    bool hasNames = true;
    while (hasNames && input->source->Next()) {
        path = GetRowPath();
        hasNames = !input->source->GetStreamName().empty();
        AddStream();
    }
    AddStream();
    Open(file, settings, signals);
}

void SourceReader::Open(const std::string& file, const SourceSettings& settings,
                        SignalWatcher& signals) {
    entries = tsn::StreamType();
    std::vector<NamedSource> sources = OpenSources(file, {file}, settings, signals);
    if (sources.size() != 1) {
        throw CommandError(file + " is a document with " + Counted(sources.size(), "stream") +
                           ", of which one can be read while it is packed: unpack it");
    }
    input = std::move(sources.front());
    input->source->BeforeWait([this](const SourceProgress& read) { progress = read; });
    if (!input->source->Open(entries)) {
        throw CommandError("interrupted before " + file + " was read");
    }
}

std::string SourceReader::GetRowPath() const {
    const std::string_view own = input->source->GetStreamName();
    return own.empty() ? input->stream : std::string(own);
}

void SourceReader::AddStream() {
    NamedType*& type = typesByPath[path];
    if (type != nullptr) {
        return;
    }
    std::string name = path;
    std::replace(name.begin(), name.end(), '/', '.');
    type = &types.emplace_back(name, utils::Version(1, 0, 0));
    for (unsigned short id = 0; id < entries.GetNumEntries(); ++id) {
        const tsn::SampleEntry entry = entries.GetEntry(id);
        type->Get().Add(entry.key, entry.type, entry.initialSize);
    }
    streams.push_back({path, &type->Get(), 0, input->source->GetUnits()});
}

bool SourceReader::Next() {
    if (!input->source->Next()) {
        return false;
    }
    path = GetRowPath();
    const Poco::Timestamp time(input->source->GetTime());
    tsn::StreamType& type = typesByPath.at(path)->Get();
    if (sample.GetStreamType() != &type) {
        sample = tsn::Sample(&type, time);
    }
    input->source->Fill(sample);
    tsn::SetTimeStamp(sample, time);
    return true;
}

}  // namespace velmora::tool
