// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "transfer/document_reader.h"

#include "commands/memory_option.h"
#include "tessaryn/stream.h"

namespace velmora::tool {

namespace tsn = core::tessaryn;

DocumentReader::DocumentReader(const std::string& file, std::uint64_t maxMemory)
    : document(LoadWithin(maxMemory, file)) {
    document.streams->ForEachStream([this](const std::string& path, tsn::Stream& stream) {
        streams.push_back({path, &stream});
    });
}

std::vector<StreamLayout> DocumentReader::GetStreams() const {
    std::vector<StreamLayout> layouts;
    for (const NamedStream& each : streams) {
        layouts.push_back({each.path, each.stream->GetStreamType(), each.stream->GetMaxSize()});
    }
    return layouts;
}

bool DocumentReader::Next() {
    while (next == samples.size()) {
        if (++current >= streams.size()) {
            current = streams.size();
            return false;
        }
        next = 0;
        streams[current].stream->GetAllInPushOrder(
            [this](const std::vector<tsn::Sample*>& all) { samples = all; });
    }
    ++next;
    return true;
}

}  // namespace velmora::tool
