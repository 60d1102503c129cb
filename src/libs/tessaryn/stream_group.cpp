// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_group.h"

#include "tessaryn/lock_order.h"
#include "tessaryn/node_fields.h"
#include "tessaryn/stream_type_repository.h"

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::NodeSerializer;

namespace {

using GroupLock = OrderedLock<LockRank::streamGroup>;

}  // namespace

StreamGroup::StreamGroup(const std::string& name, const INamedObject* parent)
    : GenericGroup(name, parent, '.') {}

StreamGroup::StreamGroup(const NodeSerializer& serializer, const INode& node, INamedObject* parent,
                         const StreamTypeRepository& types)
    : GenericGroup(ReadName(serializer, node), parent, '.') {
    Fill(serializer, node, types);
}

StreamGroup::~StreamGroup() = default;

Stream* StreamGroup::GetStreamPtr(const std::string& streamName) const {
    const LockNote note(LockRank::streamGroup, &mutex);
    return GetItemPtr(streamName);
}

Stream& StreamGroup::GetStream(const std::string& streamName) const {
    const LockNote note(LockRank::streamGroup, &mutex);
    return GetItem(streamName);
}

Stream* StreamGroup::AddStream(const std::string& streamName, StreamType* type, long maxSize) {
    const LockNote note(LockRank::streamGroup, &mutex);
    Stream* const existing = GetItemPtr(streamName);
    return existing != nullptr ? existing
                               : AddItem(streamName, std::make_unique<Stream>(type, maxSize));
}

Stream* StreamGroup::AddStream(const NodeSerializer& serializer, const INode& node,
                               const StreamTypeRepository& types) {
    const LockNote note(LockRank::streamGroup, &mutex);
    const std::string streamName = ReadName(serializer, node);
    return AddItemMove(streamName, std::make_unique<Stream>(serializer, node, types));
}

void StreamGroup::Fill(const NodeSerializer& serializer, const INode& node,
                       const StreamTypeRepository& types) {
    const GroupLock lock(mutex);
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

void StreamGroup::AddSamplesToExistingStreams(const NodeSerializer& serializer, const INode& node,
                                              const StreamTypeRepository& types) {
    const GroupLock lock(mutex);
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
    const LockNote note(LockRank::streamGroup, &mutex);
    // The groups from here down to the one that is searched, each locked. A call per level would
    // end trees that are deeper than the call stack.
    struct Level {
        const StreamGroup* group;
        std::unique_lock<Poco::Mutex> lock;
        NamedChildren<StreamGroup>::Iterator next;
    };
    std::vector<Level> path;
    const auto enter = [&](const StreamGroup& group) {
        std::unique_lock<Poco::Mutex> lock(group.mutex);
        path.push_back({&group, std::move(lock), group.groups.begin()});
    };
    enter(*this);
    while (!path.empty()) {
        Level& level = path.back();
        if (level.next != level.group->groups.end()) {
            enter(*(level.next++)->second);
            continue;
        }
        for (const auto& [streamName, stream] : level.group->items) {
            if (stream->GetStreamType() == type) {
                return true;
            }
        }
        path.pop_back();
    }
    return false;
}

void StreamGroup::Serialize(const NodeSerializer& serializer, INode& node) const {
    const GroupLock lock(mutex);
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
