// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_type_collection_group.h"

#include "tessaryn/lock_order.h"
#include "tessaryn/node_fields.h"

#include <memory>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::NodeSerializer;

namespace {

using GroupLock = OrderedLock<LockRank::typeGroup>;

}  // namespace

StreamTypeCollectionGroup::StreamTypeCollectionGroup(const std::string& name,
                                                     const INamedObject* parent)
    : GenericGroup(name, parent, '.') {}

StreamTypeCollectionGroup::StreamTypeCollectionGroup(const NodeSerializer& serializer,
                                                     const INode& node, const INamedObject* parent)
    : GenericGroup(ReadName(serializer, node), parent, '.') {
    Fill(serializer, node);
}

StreamTypeCollectionGroup::~StreamTypeCollectionGroup() = default;

StreamTypeCollection* StreamTypeCollectionGroup::Add(const std::string& collectionName) {
    return AddItemMove(collectionName,
                       std::make_unique<StreamTypeCollection>(collectionName, this));
}

StreamTypeCollection* StreamTypeCollectionGroup::Add(const NodeSerializer& serializer,
                                                     const INode& node) {
    auto collection = std::make_unique<StreamTypeCollection>(serializer, node, this);
    const std::string collectionName = collection->GetName();
    return AddItemMove(collectionName, std::move(collection));
}

StreamTypeCollection& StreamTypeCollectionGroup::Get(const std::string& collectionName) const {
    return GetItem(collectionName);
}

StreamTypeCollection* StreamTypeCollectionGroup::GetPtr(const std::string& collectionName) const {
    return GetItemPtr(collectionName);
}

void StreamTypeCollectionGroup::Fill(const NodeSerializer& serializer, const INode& node) {
    const GroupLock lock(mutex);
    for (const NodeRef& child : node["Groups"].GetNodes()) {
        auto group = std::make_unique<StreamTypeCollectionGroup>(serializer, child, this);
        const std::string groupName = group->GetName();
        StreamTypeCollectionGroup* const existing = GetGroupPtr(groupName);
        if (existing != nullptr) {
            existing->Merge(*group,
                            [](StreamTypeCollection& collection, const INamedObject& parent) {
                                collection.SetParent(&parent);
                            });
        } else {
            AddGroup(groupName, std::move(group));
        }
    }
    for (const NodeRef& child : node["TypeCollections"].GetNodes()) {
        Add(serializer, child);
    }
}

void StreamTypeCollectionGroup::RemoveAllTypesOfVersion(const utils::Version& version) {
    for (const auto& [groupName, group] : groups) {
        group->RemoveAllTypesOfVersion(version);
    }
    items.RemoveIf([&](StreamTypeCollection& collection) {
        collection.Remove(version);
        return collection.IsEmpty();
    });
    CountChange();
}

void StreamTypeCollectionGroup::Serialize(const NodeSerializer& serializer, INode& node) const {
    const GroupLock lock(mutex);
    WriteName(serializer, node, NodeFlags::NodeName, GetName());
    NodeRef groupList = node.AddNode("Groups", NodeFlags::NodeList);
    for (const StreamTypeCollectionGroup* group : GetAllGroupPtrs()) {
        NodeRef child = groupList.AddNode("Group", NodeFlags::NodeElement);
        group->Serialize(serializer, child);
    }
    NodeRef collectionList = node.AddNode("TypeCollections", NodeFlags::NodeList);
    for (const StreamTypeCollection* collection : GetAllItemPtrs()) {
        NodeRef child = collectionList.AddNode("TypeCollection", NodeFlags::NodeElement);
        collection->Serialize(serializer, child);
    }
}

}  // namespace velmora::core::tessaryn
