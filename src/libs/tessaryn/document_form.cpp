// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/document_form.h"

#include "serializer/serialization_exception.h"
#include "serializer/serializer.h"
#include "tessaryn/node_fields.h"
#include "tessaryn/sample_access.h"
#include "tessaryn/sample_node.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Exception.h>
#include <Poco/Logger.h>

#include <exception>
#include <map>
#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::Mandatory;
using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::NodeSerializer;
using serialization::Optional;
using utils::Version;

namespace {

// Failures go to the caller alone.
serialization::ThrowErrorHandler Raise() {
    return serialization::Throw(false, Poco::Logger::root());
}

// Runs the reading of a node; whatever it throws, but for want of memory, gets the node's position.
template <class Read>
auto ReadAt(const INode& node, Read read) {
    const auto fail = [&node](const std::string& reason) {
        const std::string position = node.GetPosition();
        return DocumentException(position, position + ": " + reason);
    };
    try {
        return read();
    } catch (const DocumentException&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const serialization::SerializationException& error) {
        // Names the exact node.
        throw DocumentException(node.GetPosition(), error.what());
    } catch (const Poco::Exception& error) {
        throw fail(error.displayText());
    } catch (const std::exception& error) {
        throw fail(error.what());
    }
}

// Memory that samples may still take.
class MemoryBudget {
  public:
    explicit MemoryBudget(std::uint64_t limit) : limit(limit), left(limit) {}

    void Take(std::uint64_t bytes) {
        if (bytes > left) {
            throw std::length_error("A sample takes " + std::to_string(bytes) +
                                    " bytes of memory, but only " + std::to_string(left) +
                                    " of the limit of " + std::to_string(limit) + " are left.");
        }
        left -= bytes;
    }
    void GiveBack(std::uint64_t bytes) { left += bytes; }

  private:
    std::uint64_t limit;
    std::uint64_t left;
};

std::uint64_t MemoryOf(const StreamType& type, const std::vector<unsigned int>& sizes) {
    return sizeof(Sample) + (sizes.size() + 1) * sizeof(unsigned int) +
           SampleAccess::BytesOfElements(type, sizes);
}

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

class SampleReader {
  public:
    explicit SampleReader(const DocumentLimits& limits) : budget(limits.maxSampleMemory) {}

    // The sample, and the memory that it takes.
    std::pair<Sample, std::uint64_t> Read(StreamType& type, const INode& node) {
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

    void GiveBack(std::uint64_t memory) { budget.GiveBack(memory); }

  private:
    // An entry that the node names again has the elements of the last time.
    static void SetValue(Sample& sample, const EntryValue& value, unsigned int size) {
        if (CountElements(value) != size) {
            return;
        }
        if (value.type == String) {
            sample.Set(value.entry, value.text);
        } else {
            SetElements(sample, value);
        }
    }

    NodeSerializer serializer;
    MemoryBudget budget;
};

class StreamReader {
  public:
    StreamReader(const StreamTypeRepository& types, const DocumentLimits& limits)
        : types(types), samples(limits) {}

    std::unique_ptr<Stream> Read(const INode& node) {
        return ReadAt(node, [&] {
            int maxSize = 0;
            serializer.Deserialize(node["MaxSize"], maxSize, serialization::GreaterThan(0),
                                   Raise());
            auto stream = std::make_unique<Stream>(&TypeOf(node), maxSize);
            const auto capacity = static_cast<std::size_t>(maxSize);
            std::vector<std::uint64_t> memory;
            for (const NodeRef& child : node["Samples"].GetNodes()) {
                auto [sample, taken] = samples.Read(*stream->GetStreamType(), child);
                stream->PushNew(new Sample(std::move(sample)));
                memory.push_back(taken);
                if (memory.size() > capacity) {
                    samples.GiveBack(memory[memory.size() - 1 - capacity]);
                }
            }
            return stream;
        });
    }

  private:
    StreamType& TypeOf(const INode& node) {
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

    const StreamTypeRepository& types;
    SampleReader samples;
    NodeSerializer serializer;
    std::map<std::string, const StreamTypeCollection*> collections;
};

std::string NameOf(const INode& node) {
    return ReadAt(node, [&] {
        std::string name;
        NodeSerializer().Deserialize(node["Name"], name, Mandatory(), Raise());
        return name;
    });
}

// Reads a group's sub-groups, then its items.
template <class Group, class ReadItem>
void ReadGroup(Group& group, const INode& node, const char* items, ReadItem readItem) {
    for (const NodeRef& child : node["Groups"].GetNodes()) {
        ReadGroup(*group.AddGroup(NameOf(child)), child, items, readItem);
    }
    for (const NodeRef& child : node[items].GetNodes()) {
        readItem(group, child);
    }
}

void WriteGroup(StreamGroup& group, INode& node) {
    group.AtomicExecute([&] {
        const NodeSerializer serializer;
        WriteName(serializer, node, NodeFlags::NodeName, group.GetName());
        NodeRef groups = node.AddNode("Groups", NodeFlags::NodeList);
        for (StreamGroup* const child : group.GetAllGroupPtrs()) {
            NodeRef childNode = groups.AddNode("Group", NodeFlags::NodeElement);
            WriteGroup(*child, childNode);
        }
        NodeRef streams = node.AddNode("Streams", NodeFlags::NodeList);
        for (const std::string& name : group.GetItemNames()) {
            NodeRef stream = streams.AddNode("Stream", NodeFlags::NodeElement);
            WriteName(serializer, stream, NodeFlags::NodeValue, name);
            WriteStream(group.GetStream(name), stream);
        }
    });
}

// Adds what a type does not write of itself.
void AddInitialSizes(const StreamType& type, const INode& node) {
    for (NodeRef& entry : node["Entries"].GetNodes()) {
        const std::string key = entry["Key"].GetValue();
        const unsigned int size = type.GetEntry(type.EntryId(key)).initialSize;
        if (size != 1) {
            NodeSerializer().Serialize(entry.AddNode("InitialSize", NodeFlags::NodeValue), size,
                                       Optional());
        }
    }
}

// A child that a host has stored under another name than its own keeps what it wrote.
void AddInitialSizes(const StreamTypeCollectionGroup& group, const INode& node) {
    for (const NodeRef& child : node["Groups"].GetNodes()) {
        if (const StreamTypeCollectionGroup* const below = group.GetGroupPtr(NameOf(child))) {
            AddInitialSizes(*below, child);
        }
    }
    for (const NodeRef& child : node["TypeCollections"].GetNodes()) {
        const StreamTypeCollection* const collection = group.GetPtr(NameOf(child));
        const std::vector<NodeRef> typeNodes = child["Types"].GetNodes();
        for (std::size_t i = 0; collection != nullptr && i < typeNodes.size(); ++i) {
            AddInitialSizes(*collection->GetAll()[i], typeNodes[i]);
        }
    }
}

}  // namespace

DocumentException::DocumentException(const std::string& position, const std::string& message)
    : BaseException(message), position(position) {}

Sample ReadSample(StreamType& type, const INode& node, const DocumentLimits& limits) {
    return SampleReader(limits).Read(type, node).first;
}

std::unique_ptr<Stream> ReadStream(const StreamTypeRepository& types, const INode& node,
                                   const DocumentLimits& limits) {
    return StreamReader(types, limits).Read(node);
}

std::unique_ptr<StreamTypeRepository> ReadStreamTypes(const INode& node) {
    const NodeSerializer serializer;
    auto types = std::make_unique<StreamTypeRepository>(Poco::Logger::root(),
                                                        ReadGroupSeparator(serializer, node));
    ReadGroup(types->GetGroup(""), node["Group"], "TypeCollections",
              [&](StreamTypeCollectionGroup& group, const NodeRef& child) {
                  ReadAt(child, [&] { group.Add(serializer, child); });
              });
    return types;
}

std::unique_ptr<StreamRepository> ReadStreams(const StreamTypeRepository& types, const INode& node,
                                              const DocumentLimits& limits) {
    auto streams = std::make_unique<StreamRepository>(Poco::Logger::root(),
                                                      ReadGroupSeparator(NodeSerializer(), node));
    StreamReader reader(types, limits);
    ReadGroup(streams->GetRoot(), node["Group"], "Streams",
              [&](StreamGroup& group, const NodeRef& child) {
                  const std::string name = NameOf(child);
                  std::unique_ptr<Stream> stream = reader.Read(child);
                  group.AddItemMove(name, std::move(stream));
              });
    return streams;
}

void WriteSample(const Sample& sample, INode& node) {
    WriteSampleNode(sample, NodeSerializer(), node, Digits::exact);
}

void WriteStream(const Stream& stream, INode& node) {
    const NodeSerializer serializer;
    const StreamType& type = *stream.GetStreamType();
    serializer.Serialize(node.AddNode("Type", NodeFlags::NodeValue), type.GetFullName(),
                         Optional());
    serializer.Serialize(node.AddNode("TypeVersion", NodeFlags::NodeValue), type.GetVersion(),
                         Optional());
    serializer.Serialize(node.AddNode("MaxSize", NodeFlags::NodeValue), long{stream.GetMaxSize()},
                         Optional());
    NodeRef list = node.AddNode("Samples", NodeFlags::NodeList);
    stream.GetAllInPushOrder([&](const std::vector<Sample*>& samples) {
        for (const Sample* const sample : samples) {
            NodeRef child = list.AddNode("Sample", NodeFlags::NodeElement);
            WriteSample(*sample, child);
        }
    });
}

void WriteStreamTypes(const StreamTypeRepository& types, INode& node) {
    StreamTypeCollectionGroup& root = types.GetGroup("");
    root.AtomicExecute([&] {
        types.Serialize(NodeSerializer(), node);
        AddInitialSizes(root, node["Group"]);
    });
}

void WriteStreams(const StreamRepository& streams, INode& node) {
    NodeSerializer().Serialize(node.AddNode("GroupSeparator", NodeFlags::NodeElement),
                               streams.groupSeparator(), Optional());
    NodeRef group = node.AddNode("Group", NodeFlags::NodeElement);
    WriteGroup(streams.GetRoot(), group);
}

}  // namespace velmora::core::tessaryn
