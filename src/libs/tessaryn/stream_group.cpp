// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_group.h"

#include "tessaryn/node_fields.h"
#include "tessaryn/stream_type_repository.h"

#include <memory>
#include <utility>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::Serializer;

StreamGroup::StreamGroup(const std::string& groupName, const INamedObject* groupParent)
    : GenericGroup(groupName, groupParent, '.') {}

StreamGroup::StreamGroup(const Serializer<NodeRef>& serializer, const INode& node,
                         INamedObject* groupParent, const StreamTypeRepository& types)
    : GenericGroup(ReadName(serializer, node), groupParent, '.') {
    Fill(serializer, node, types);
}

StreamGroup::~StreamGroup() = default;

Stream* StreamGroup::GetStreamPtr(const std::string& streamName) const {
    return GetItemPtr(streamName);
}

Stream& StreamGroup::GetStream(const std::string& streamName) const {
    return GetItem(streamName);
}

Stream* StreamGroup::AddStream(const std::string& streamName, StreamType* type, long maxSize) {
    return AddItemMove(streamName, std::make_unique<Stream>(type, maxSize));
}

Stream* StreamGroup::AddStream(const Serializer<NodeRef>& serializer, const INode& node,
                               const StreamTypeRepository& types) {
    const std::string streamName = ReadName(serializer, node);
    return AddItemMove(streamName, std::make_unique<Stream>(serializer, node, types));
}

void StreamGroup::Fill(const Serializer<NodeRef>& serializer, const INode& node,
                       const StreamTypeRepository& types) {
    const Lock lock(mutex);
    for (const NodeRef& child : node["Groups"].GetNodes()) {
        auto group = std::make_unique<StreamGroup>(serializer, child, this, types);
        const std::string groupName = group->GetName();
        StreamGroup* const existing = GetGroupPtr(groupName);
        if (existing != nullptr) {
            existing->Merge(*group, [](Stream&, const INamedObject&) {});
        } else {
            AddGroup(groupName, std::move(group));
        }
    }
    for (const NodeRef& child : node["Streams"].GetNodes()) {
        auto stream = std::make_unique<Stream>(serializer, child, types);
        AddItemMove(ReadName(serializer, child), std::move(stream));
    }
}

void StreamGroup::AddSamplesToExistingStreams(const Serializer<NodeRef>& serializer,
                                              const INode& node,
                                              const StreamTypeRepository& types) {
    const Lock lock(mutex);
    for (const NodeRef& child : node["Groups"].GetNodes()) {
        StreamGroup* const group = GetGroupPtr(ReadName(serializer, child));
        if (group != nullptr) {
            group->AddSamplesToExistingStreams(serializer, child, types);
        }
    }
    for (const NodeRef& child : node["Streams"].GetNodes()) {
        Stream* const stream = GetStreamPtr(ReadName(serializer, child));
        if (stream != nullptr) {
            stream->Fill(serializer, child);
        }
    }
}

bool StreamGroup::IsStreamTypeInUse(StreamType* type) const {
    const Lock lock(mutex);
    for (const StreamGroup* group : GetAllGroupPtrs()) {
        if (group->IsStreamTypeInUse(type)) {
            return true;
        }
    }
    for (const Stream* stream : GetAllItemPtrs()) {
        if (stream->GetStreamType() == type) {
            return true;
        }
    }
    return false;
}

void StreamGroup::Serialize(const Serializer<NodeRef>& serializer, INode& node) const {
    const Lock lock(mutex);
    WriteName(serializer, node, NodeFlags::NodeName, GetName());
    NodeRef groupList = node.AddNode("Groups", NodeFlags::NodeList);
    for (const StreamGroup* group : GetAllGroupPtrs()) {
        NodeRef child = groupList.AddNode("Group", NodeFlags::NodeElement);
        group->Serialize(serializer, child);
    }
    NodeRef streamList = node.AddNode("Streams", NodeFlags::NodeList);
    for (const std::string& streamName : GetItemNames()) {
        NodeRef child = streamList.AddNode("Stream", NodeFlags::NodeElement);
        WriteName(serializer, child, NodeFlags::NodeValue, streamName);
        GetStream(streamName).Serialize(serializer, child);
    }
}

}  // namespace velmora::core::tessaryn
