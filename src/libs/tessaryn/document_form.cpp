// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/document_form.h"

#include "serializer/serializer.h"
#include "tessaryn/sample_node.h"
#include "tessaryn/stream_reader.h"
#include "tessaryn/stream_writer.h"

#include <vector>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::NodeSerializer;
using serialization::Optional;

namespace {

// Adds the parts of a type that it does not write itself.
void AddInitialSizes(const StreamType& type, const INode& node) {
    for (NodeRef& entry : node["Entries"].GetNodes()) {
        const std::string key(entry["Key"].GetValueView());
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

Sample ReadSample(StreamType& type, const INode& node, const DocumentLimits& limits) {
    return SampleReader(limits).Read(type, node).first;
}

std::unique_ptr<Stream> ReadStream(const StreamTypeRepository& types, const INode& node,
                                   const DocumentLimits& limits) {
    return StreamReader(types, limits).ReadWhole(node);
}

std::unique_ptr<StreamTypeRepository> ReadStreamTypes(const INode& node) {
    return ReadTypeNodes(node);
}

std::unique_ptr<StreamRepository> ReadStreams(const StreamTypeRepository& types, const INode& node,
                                              const DocumentLimits& limits) {
    StreamReader reader(types, limits);
    return ReadStreamNodes(reader, node);
}

void WriteSample(const Sample& sample, INode& node) {
    WriteSampleNode(sample, NodeSerializer(), node, Digits::exact);
}

void WriteStream(const Stream& stream, INode& node) {
    WriteStreamNode(stream, node, nullptr);
}

void WriteStreamTypes(const StreamTypeRepository& types, INode& node) {
    StreamTypeCollectionGroup& root = types.GetGroup("");
    root.AtomicExecute([&] {
        types.Serialize(NodeSerializer(), node);
        AddInitialSizes(root, node["Group"]);
    });
}

void WriteStreams(const StreamRepository& streams, INode& node) {
    WriteStreamNodes(streams, node, nullptr);
}

}  // namespace velmora::core::tessaryn
