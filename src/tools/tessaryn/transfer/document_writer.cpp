// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "transfer/document_writer.h"

#include "command_error.h"
#include "tessaryn/stream.h"
#include "text/escaped_text.h"

#include <Poco/Logger.h>

#include <algorithm>
#include <sstream>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

DocumentWriter::DocumentWriter(const std::string& file, const std::vector<StreamLayout>& streams,
                               char separator)
    : file(file),
      document(std::make_unique<tsn::StreamTypeRepository>(Poco::Logger::root(), separator),
               std::make_unique<tsn::StreamRepository>(Poco::Logger::root(), separator)) {
    for (const StreamLayout& layout : streams) {
        const auto ofPath = std::count_if(streams.begin(), streams.end(), [&](const auto& other) {
            return other.path == layout.path;
        });
        AddTarget(layout, ofPath > 1);
    }
}

// A stream of a document has samples of one type: those of another one get a stream of their own.
void DocumentWriter::AddTarget(const StreamLayout& layout, bool isOneOfSeveral) {
    std::string path = layout.path;
    if (isOneOfSeveral) {
        path += "@" + layout.type->GetVersion().ToString();
        losses.push_back("samples of stream " + Quoted(layout.path) + " of version " +
                         layout.type->GetVersion().ToString() + " are in stream " + Quoted(path));
    }
    Target target{std::move(path), &AddType(layout.path, *layout.type), layout.maxSize, {}};
    targets.emplace(std::pair(layout.path, layout.type), std::move(target));
}

// A type of the same full name, version and entries: under the path of the stream where the type
// is named like it.
tsn::StreamType& DocumentWriter::AddType(const std::string& path, const tsn::StreamType& type) {
    const std::string name = type.GetFullName();
    std::string pathAsName = path;
    std::replace(pathAsName.begin(), pathAsName.end(), document.streams->groupSeparator(), '.');
    tsn::StreamTypeCollection* const known = document.types->FindByFullName(name);
    tsn::StreamTypeCollection& versions = known != nullptr ? *known
                                          : name == pathAsName
                                              ? *document.types->Add(path)
                                              : *document.types->GetRoot().Add(name);
    tsn::StreamType* const found = versions.GetPtr(type.GetVersion());
    if (found != nullptr) {
        if (!found->HasSameLayout(type)) {
            throw CommandError("two types have the full name " + Quoted(name) +
                               " and the version " + type.GetVersion().ToString());
        }
        return *found;
    }
    tsn::StreamType& added = versions.Add(type.GetVersion());
    for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
        const tsn::SampleEntry entry = type.GetEntry(id);
        added.Add(entry.key, entry.type, entry.initialSize);
    }
    return added;
}

void DocumentWriter::Write(const std::string& path, const tsn::Sample& sample) {
    Target& target = targets.at({path, sample.GetStreamType()});
    std::stringstream bytes;
    sample.Serialize(bytes);
    target.samples.push_back(std::make_unique<tsn::Sample>(target.type, sample.GetTimeStamp()));
    target.samples.back()->Deserialize(bytes);
}

void DocumentWriter::Finish() {
    for (auto& [key, target] : targets) {
        const long count = std::max(1L, static_cast<long>(target.samples.size()));
        tsn::Stream* const stream = document.streams->AddStream(
            target.path, target.type, target.maxSize > 0 ? target.maxSize : count);
        for (std::unique_ptr<tsn::Sample>& sample : target.samples) {
            stream->PushNew(sample.release());
        }
        target.samples.clear();
    }
    storage::SaveDocument(file, document);
}

}  // namespace velmora::tool
