// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_reader.h"

#include "tessaryn/node_fields.h"
#include "tessaryn/sample_access.h"

#include <Poco/Logger.h>

#include <stdexcept>
#include <vector>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::Mandatory;
using serialization::NodeRef;
using serialization::NodeSerializer;
using utils::Version;

namespace {

// The element counts of a sample with these values.
std::vector<unsigned int> SizesOf(const StreamType& type, const std::vector<EntryValue>& values) {
    std::vector<unsigned int> sizes(type.GetNumEntries());
    std::vector<bool> isNamed(sizes.size());
    for (const EntryValue& value : values) {
        isNamed[value.entry] = true;
        sizes[value.entry] = CountElements(value);
    }
    for (std::size_t entry = 0; entry < sizes.size(); ++entry) {
        if (!isNamed[entry]) {
            sizes[entry] = type.GetEntry(static_cast<unsigned short>(entry)).initialSize;
        }
    }
    return sizes;
}

bool IsSame(const NodeRef& one, const NodeRef& other) {
    return one.Exists() && other.Exists() && one.GetNumber() == other.GetNumber();
}

// Whether a node is a stream of a document's repository.
bool IsStreamNode(const NodeRef& node, const NodeRef& streams) {
    const NodeRef list = node.GetParent();
    NodeRef group = list.GetParent();
    if (!IsSame(group["Streams"], list)) {
        return false;
    }
    while (true) {
        const NodeRef above = group.GetParent();
        if (IsSame(above, streams)) {
            return IsSame(above["Group"], group);
        }
        const NodeRef outer = above.GetParent();
        if (!IsSame(outer["Groups"], above)) {
            return false;
        }
        group = outer;
    }
}

}  // namespace

serialization::ThrowErrorHandler Raise() {
    return serialization::Throw(false, Poco::Logger::root());
}

std::string NameOf(const INode& node) {
    return ReadAt(node, [&] {
        std::string name;
        NodeSerializer().Deserialize(node["Name"], name, Mandatory(), Raise());
        return name;
    });
}

void MemoryBudget::Take(std::uint64_t bytes) {
    if (bytes > left) {
        throw std::length_error("A sample takes " + std::to_string(bytes) +
                                " bytes of memory, but only " + std::to_string(left) +
                                " of the limit of " + std::to_string(limit) + " are left.");
    }
    left -= bytes;
}

std::uint64_t MemoryOf(const StreamType& type, const std::vector<unsigned int>& sizes) {
    return sizeof(Sample) + (sizes.size() + 1) * sizeof(unsigned int) +
           SampleAccess::BytesOfElements(type, sizes);
}

std::pair<Sample, std::uint64_t> SampleReader::Read(StreamType& type, const INode& node) {
    return ReadAt(node, [&] {
        long long time = Poco::Timestamp().epochMicroseconds();
        serializer.Deserialize(node["TimeStamp"], time, Mandatory(), time);
        const std::vector<EntryValue> values = ReadEntryValues(type, serializer, node, Raise());
        const std::vector<unsigned int> sizes = SizesOf(type, values);
        const std::uint64_t memory = MemoryOf(type, sizes);
        budget.Take(memory);
        Sample sample = SampleAccess::Make(type, Poco::Timestamp(), sizes);
        for (const EntryValue& value : values) {
            SetValue(sample, value, sizes[value.entry]);
        }
        SampleAccess::SetTime(sample, Poco::Timestamp(time));
        return std::pair(std::move(sample), memory);
    });
}

void SampleReader::SetValue(Sample& sample, const EntryValue& value, unsigned int size) {
    if (CountElements(value) != size) {
        return;
    }
    if (value.type == String) {
        sample.Set(value.entry, value.text);
    } else {
        SetElements(sample, value);
    }
}

std::unique_ptr<Stream> StreamReader::Read(const NodeRef& node) {
    const auto found = begun.find(node.GetNumber());
    if (found == begun.end()) {
        return ReadWhole(node);
    }
    return Complete(std::move(found->second), node);
}

std::unique_ptr<Stream> StreamReader::ReadWhole(const INode& node) {
    return Complete(ReadAt(node, [&] { return MakeStream(node); }), node);
}

std::unique_ptr<Stream> StreamReader::Complete(PartialStream partial, const INode& node) {
    return ReadAt(node, [&] {
        for (const NodeRef& child : node["Samples"].GetNodes()) {
            Push(partial, child);
        }
        return std::move(partial.stream);
    });
}

PartialStream& StreamReader::Begin(const NodeRef& node) {
    const auto found = begun.find(node.GetNumber());
    return found != begun.end()
               ? found->second
               : begun.emplace(node.GetNumber(), ReadAt(node, [&] { return MakeStream(node); }))
                     .first->second;
}

void StreamReader::Push(PartialStream& partial, const NodeRef& node) {
    Stream& stream = *partial.stream;
    auto [sample, taken] = samples.Read(*stream.GetStreamType(), node);
    stream.PushNew(new Sample(std::move(sample)));
    partial.memory.push_back(taken);
    if (partial.memory.size() > static_cast<std::size_t>(stream.GetMaxSize())) {
        samples.GiveBack(partial.memory.front());
        partial.memory.pop_front();
    }
}

PartialStream StreamReader::MakeStream(const INode& node) {
    int maxSize = 0;
    serializer.Deserialize(node["MaxSize"], maxSize, serialization::GreaterThan(0), Raise());
    PartialStream partial;
    partial.stream = std::make_unique<Stream>(&TypeOf(node), maxSize);
    return partial;
}

StreamType& StreamReader::TypeOf(const INode& node) {
    std::string name;
    serializer.Deserialize(node["Type"], name, Mandatory(), Raise());
    Version version;
    serializer.Deserialize(node["TypeVersion"], version, Mandatory(), Version::Latest());
    // A look-up by full name may go through all groups of the types.
    const StreamTypeCollection*& collection = collections[name];
    if (collection == nullptr) {
        collection = &types.Resolve(name);
    }
    return collection->Get(version);
}

std::unique_ptr<StreamTypeRepository> ReadTypeNodes(const INode& node) {
    const NodeSerializer serializer;
    auto types = std::make_unique<StreamTypeRepository>(Poco::Logger::root(),
                                                        ReadGroupSeparator(serializer, node));
    ReadGroup(types->GetGroup(""), node["Group"], "TypeCollections",
              [&](StreamTypeCollectionGroup& group, const NodeRef& child) {
                  ReadAt(child, [&] { group.Add(serializer, child); });
              });
    return types;
}

std::unique_ptr<StreamRepository> ReadStreamNodes(StreamReader& reader, const INode& node) {
    auto streams = std::make_unique<StreamRepository>(Poco::Logger::root(),
                                                      ReadGroupSeparator(NodeSerializer(), node));
    ReadGroup(streams->GetRoot(), node["Group"], "Streams",
              [&](StreamGroup& group, const NodeRef& child) {
                  const std::string name = NameOf(child);
                  std::unique_ptr<Stream> stream = reader.Read(child);
                  group.AddItemMove(name, std::move(stream));
              });
    return streams;
}

bool SampleConsumer::Consume(const NodeRef& element) {
    const NodeRef list = element.GetParent();
    if (current == nullptr || list.GetNumber() != currentList) {
        current = FindStream(list);
        currentList = list.GetNumber();
    }
    if (current == nullptr) {
        return false;
    }
    reader->Push(*current, element);
    return true;
}

// The stream of a list of samples, if all that it depends on was before it in the document.
PartialStream* SampleConsumer::FindStream(const NodeRef& list) {
    const NodeRef node = list.GetParent();
    NodeRef root = node;
    while (root.GetParent().GetNumber() != root.GetNumber()) {
        root = root.GetParent();
    }
    const NodeRef typesNode = root[typesName];
    if (!typesNode.Exists() || !IsStreamNode(node, root[streamsName]) ||
        !IsSame(node["Samples"], list) || !node["Type"].Exists() || !node["TypeVersion"].Exists() ||
        !node["MaxSize"].Exists()) {
        return nullptr;
    }
    if (types == nullptr) {
        types = ReadTypeNodes(typesNode);
        reader = std::make_unique<StreamReader>(*types, limits);
    }
    return &reader->Begin(node);
}

std::unique_ptr<StreamTypeRepository> SampleConsumer::TakeTypes(const NodeRef& root) {
    return types != nullptr ? std::move(types) : ReadTypeNodes(root[typesName]);
}

std::unique_ptr<StreamRepository> SampleConsumer::ReadStreams(const StreamTypeRepository& allTypes,
                                                              const NodeRef& root) {
    if (reader == nullptr) {
        reader = std::make_unique<StreamReader>(allTypes, limits);
    }
    return ReadStreamNodes(*reader, root[streamsName]);
}

}  // namespace velmora::core::tessaryn
