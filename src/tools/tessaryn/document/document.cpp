// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "document/document.h"

#include "command_error.h"
#include "common/split.h"
#include "document/document_file.h"
#include "tessaryn/document_form.h"
#include "text/escaped_text.h"

#include <Poco/Logger.h>

#include <algorithm>

namespace velmora::tool {

namespace ser = core::serialization;
namespace tsn = core::tessaryn;

namespace {

// Not ".", which the name of a file and thus of a stream may contain.
constexpr char newSeparator = '/';

// The collection that every repository has from the start.
constexpr const char* reservedType = "Any";

std::string Describe(const tsn::SampleEntry& entry) {
    std::string text;
    AppendWord(text, entry.key);
    return text + ":" + ToString(entry.type);
}

// The first difference between two lists of entries; empty when there is none.
std::string DifferenceBetween(const tsn::StreamType& kept, const tsn::StreamType& layout) {
    const unsigned short shared = std::min(kept.GetNumEntries(), layout.GetNumEntries());
    for (unsigned short id = 0; id < shared; ++id) {
        const tsn::SampleEntry oldEntry = kept.GetEntry(id);
        const tsn::SampleEntry newEntry = layout.GetEntry(id);
        const bool sameName = oldEntry.key == newEntry.key;
        if (!sameName || oldEntry.type != newEntry.type) {
            return "has " + Describe(oldEntry) + " where the source has " + Describe(newEntry) +
                   (sameName ? "; --type sets the type of a column" : "");
        }
    }
    if (kept.GetNumEntries() > shared) {
        return "has " + Describe(kept.GetEntry(shared)) + ", which the source does not have";
    }
    if (layout.GetNumEntries() > shared) {
        return "does not have " + Describe(layout.GetEntry(shared)) + ", which the source has";
    }
    return {};
}

// A copy of a stream with another size.
std::unique_ptr<tsn::Stream> Resize(const tsn::Stream& stream, long maxSize) {
    auto resized = std::make_unique<tsn::Stream>(stream.GetStreamType(), maxSize);
    stream.GetAllInPushOrder([&](const std::vector<tsn::Sample*>& samples) {
        for (const tsn::Sample* const sample : samples) {
            resized->PushNew(new tsn::Sample(*sample));
        }
    });
    return resized;
}

}  // namespace

Document::Document()
    : types(std::make_unique<tsn::StreamTypeRepository>(Poco::Logger::root(), newSeparator)),
      streams(std::make_unique<tsn::StreamRepository>(Poco::Logger::root(), newSeparator)) {}

Document::Document(const std::string& file, std::uint64_t maxMemory) {
    const ser::NodeTree tree = ReadTree(file, maxMemory);
    const ser::NodeRef typesNode = tree.GetRoot()["StreamTypeRepository"];
    const ser::NodeRef streamsNode = tree.GetRoot()["StreamRepository"];
    if (!typesNode.Exists() && !streamsNode.Exists()) {
        throw CommandError(file +
                           ": /: there is neither StreamTypeRepository nor StreamRepository");
    }
    try {
        types = tsn::ReadStreamTypes(typesNode);
        streams = tsn::ReadStreams(*types, streamsNode, {maxMemory});
    } catch (const tsn::DocumentException& error) {
        throw CommandError(file + ": " + error.what());
    }
}

tsn::Stream& Document::OpenStream(const std::string& path, const tsn::StreamType& layout,
                                  std::optional<long> maxSize, long defaultSize) {
    CheckPath(path);
    tsn::Stream* const stream = streams->GetStreamPtr(path);
    if (stream == nullptr) {
        tsn::Stream* const added =
            streams->AddStream(path, &OpenType(path, layout), maxSize.value_or(defaultSize));
        CheckTypeNames(streams->GetRoot());
        return *added;
    }
    const std::string difference = DifferenceBetween(*stream->GetStreamType(), layout);
    if (!difference.empty()) {
        throw CommandError("stream " + Quoted(path) + " cannot continue: it " + difference);
    }
    if (!maxSize || *maxSize == stream->GetMaxSize()) {
        return *stream;
    }
    std::unique_ptr<tsn::Stream> resized = Resize(*stream, *maxSize);
    streams->Remove(path);
    return *streams->AddStream(path, resized.release());
}

// Empty names in a path are lost when the document is read.
void Document::CheckPath(const std::string& path) const {
    const char separator = GetStreamSeparator();
    const std::vector<std::string> names = utils::Split(path + separator, separator);
    if (std::any_of(names.begin(), names.end(), [](auto& name) { return name.empty(); })) {
        throw CommandError("a stream cannot have the name " + Quoted(path));
    }
}

// A document refers to types by their full names, so those must be unique.
void Document::CheckTypeNames(const tsn::StreamGroup& group) const {
    for (const tsn::StreamGroup* const child : group.GetAllGroupPtrs()) {
        CheckTypeNames(*child);
    }
    for (const tsn::Stream* const stream : group.GetAllItemPtrs()) {
        const tsn::StreamType* const type = stream->GetStreamType();
        const std::string name = type->GetFullName();
        const tsn::StreamTypeCollection* const found = types->ResolvePtr(name);
        if (found == nullptr || found->GetPtr(type->GetVersion()) != type) {
            throw CommandError("two types would have the full name " + Quoted(name));
        }
    }
}

tsn::StreamType& Document::OpenType(const std::string& path, const tsn::StreamType& layout) {
    if (path == reservedType) {
        throw CommandError("a stream cannot have the name 'Any', which is reserved for a type");
    }
    tsn::StreamTypeCollection& collection = *types->Add(path);
    tsn::StreamType* const newest = collection.GetLatestPtr();
    if (newest != nullptr && DifferenceBetween(*newest, layout).empty()) {
        return *newest;
    }
    return collection.PushCopy(layout, utils::Version(1, 0, 0));
}

ser::NodeTree Document::ToTree() const {
    ser::NodeTree tree;
    ser::NodeRef typesNode = tree.GetRoot().AddNode("StreamTypeRepository", ser::NodeElement);
    tsn::WriteStreamTypes(*types, typesNode);
    ser::NodeRef streamsNode = tree.GetRoot().AddNode("StreamRepository", ser::NodeElement);
    tsn::WriteStreams(*streams, streamsNode);
    return tree;
}

}  // namespace velmora::tool
