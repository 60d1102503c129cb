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

namespace {

const utils::Version nextVersion(1, 0, 0);

// The minimum capacity of a stream whose source does not give one.
constexpr long minSize = 1000;

}  // namespace

DocumentWriter::DocumentWriter(const std::string& file, const std::vector<StreamLayout>& streams,
                               char separator)
    : file(file),
      document(std::make_unique<tsn::StreamTypeRepository>(Poco::Logger::root(), separator),
               std::make_unique<tsn::StreamRepository>(Poco::Logger::root(), separator)),
      streams(streams) {
    for (const StreamLayout& layout : streams) {
        AddTarget(layout);
    }
}

// A stream of a document has samples of one type; samples of another type get another stream.
void DocumentWriter::AddTarget(const StreamLayout& layout) {
    const auto isTaken = [this](const std::string& path) {
        return std::any_of(targets.begin(), targets.end(),
                           [&](const Target& target) { return target.path == path; });
    };
    std::string path = layout.path;
    for (int number = 2; isTaken(path); ++number) {
        path = layout.path + "~" + std::to_string(number);
    }
    if (path != layout.path) {
        losses.push_back("samples of stream " + Quoted(layout.path) + " with the type " +
                         Quoted(layout.type->GetFullName()) + " of version " +
                         layout.type->GetVersion().ToString() + " are in stream " + Quoted(path));
    }
    targets.push_back({std::move(path), &AddType(layout.path, *layout.type), layout.maxSize, {}});
}

// Adds a type of the same full name, version and entries; at the path of the stream if the type has
// the same name.
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
        return found->HasSameLayout(type) ? *found : versions.PushCopy(type, nextVersion);
    }
    tsn::StreamType& added = versions.Add(type.GetVersion());
    for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
        const tsn::SampleEntry entry = type.GetEntry(id);
        added.Add(entry.key, entry.type, entry.initialSize);
    }
    return added;
}

void DocumentWriter::Write(const std::string& path, const tsn::Sample& sample) {
    Target& target = targets[layouts.Find(path, *sample.GetStreamType())];
    std::stringstream bytes;
    sample.Serialize(bytes);
    target.samples.push_back(std::make_unique<tsn::Sample>(target.type, sample.GetTimeStamp()));
    target.samples.back()->Deserialize(bytes);
}

void DocumentWriter::Finish() {
    for (Target& target : targets) {
        const long count = std::max(minSize, static_cast<long>(target.samples.size()));
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
