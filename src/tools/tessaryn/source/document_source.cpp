// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "source/document_source.h"

#include "tessaryn/stream.h"

#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

DocumentSource::DocumentSource(std::shared_ptr<const tsn::Document> document,
                               const tsn::Stream& stream, std::string name)
    : document(std::move(document)), stream(stream), name(std::move(name)) {
    // Only this source uses the document, so the samples stay.
    this->stream.GetAllInPushOrder([this](const std::vector<tsn::Sample*>& all) { samples = all; });
}

bool DocumentSource::Open(tsn::StreamType& type) {
    const tsn::StreamType& layout = *stream.GetStreamType();
    for (unsigned short id = 0; id < layout.GetNumEntries(); ++id) {
        const tsn::SampleEntry entry = layout.GetEntry(id);
        type.Add(entry.key, entry.type, entry.initialSize);
    }
    return true;
}

bool DocumentSource::Next() {
    if (next == samples.size()) {
        return false;
    }
    ++next;
    return true;
}

void DocumentSource::Fill(tsn::Sample& sample) {
    binary.str({});
    binary.clear();
    samples[next - 1]->Serialize(static_cast<std::ostream&>(binary));
    sample.Deserialize(binary);
}

}  // namespace velmora::tool
