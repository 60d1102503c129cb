// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_writer.h"

#include "serializer/document_writer.h"
#include "serializer/serializer.h"
#include "tessaryn/node_fields.h"
#include "tessaryn/sample_node.h"
#include "tessaryn/stream_repository.h"

#include <vector>

namespace velmora::core::tessaryn {

using serialization::DocumentWriter;
using serialization::INode;
using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::NodeSerializer;
using serialization::Optional;

namespace {

void WriteFinished(const NodeRef& node, DocumentWriter* writer) {
    if (writer != nullptr) {
        writer->Write(node);
    }
}

void WriteGroup(StreamGroup& group, INode& node, DocumentWriter* writer) {
    group.AtomicExecute([&] {
        const NodeSerializer serializer;
        WriteName(serializer, node, NodeFlags::NodeName, group.GetName());
        NodeRef groups = node.AddNode("Groups", NodeFlags::NodeList);
        for (StreamGroup* const child : group.GetAllGroupPtrs()) {
            NodeRef childNode = groups.AddNode("Group", NodeFlags::NodeElement);
            WriteGroup(*child, childNode, writer);
            WriteFinished(childNode, writer);
        }
        NodeRef streams = node.AddNode("Streams", NodeFlags::NodeList);
        for (const std::string& name : group.GetItemNames()) {
            NodeRef stream = streams.AddNode("Stream", NodeFlags::NodeElement);
            WriteName(serializer, stream, NodeFlags::NodeValue, name);
            WriteStreamNode(group.GetStream(name), stream, writer);
            WriteFinished(stream, writer);
        }
    });
}

}  // namespace

void WriteStreamNode(const Stream& stream, INode& node, DocumentWriter* writer) {
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
            WriteSampleNode(*sample, serializer, child, Digits::exact);
            WriteFinished(child, writer);
        }
    });
}

void WriteStreamNodes(const StreamRepository& streams, INode& node, DocumentWriter* writer) {
    NodeSerializer().Serialize(node.AddNode("GroupSeparator", NodeFlags::NodeElement),
                               streams.groupSeparator(), Optional());
    NodeRef group = node.AddNode("Group", NodeFlags::NodeElement);
    WriteGroup(streams.GetRoot(), group, writer);
}

}  // namespace velmora::core::tessaryn
