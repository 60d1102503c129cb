// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_type_collection.h"

#include "tessaryn/node_fields.h"

#include <memory>
#include <stdexcept>

namespace velmora::core::tessaryn {

using serialization::INode;
using serialization::NodeFlags;
using serialization::NodeRef;
using serialization::NodeSerializer;
using utils::Version;

StreamTypeCollection::StreamTypeCollection(const std::string& name, const INamedObject* parent)
    : Base("StreamTypeCollection"), parent(parent), name(name) {}

StreamTypeCollection::StreamTypeCollection(const std::string& name, const INamedObject* parent,
                                           const std::vector<StreamType>& types)
    : StreamTypeCollection(name, parent) {
    for (const StreamType& type : types) {
        Base::Add(new StreamType(type), type.GetVersion());
    }
}

StreamTypeCollection::StreamTypeCollection(const NodeSerializer& serializer, const INode& node,
                                           const INamedObject* parent)
    : StreamTypeCollection(ReadName(serializer, node), parent) {
    const NodeRef list = node["Types"];
    serializer.Test(list, serialization::Exist(), RaiseAndLog());
    for (const NodeRef& child : list.GetNodes()) {
        Add(serializer, child);
    }
}

// NOLINTNEXTLINE(bugprone-unhandled-self-assignment): each step leaves a collection as it is
StreamTypeCollection& StreamTypeCollection::operator=(const StreamTypeCollection& other) {
    std::string otherName = other.name;
    Base::operator=(other);
    parent = other.parent;
    name.swap(otherName);
    return *this;
}

StreamTypeCollection::~StreamTypeCollection() = default;

StreamType& StreamTypeCollection::Add(const Version& version) {
    return Base::Add(new StreamType(version, this), version);
}

StreamType& StreamTypeCollection::Add(const NodeSerializer& serializer, const INode& node) {
    auto type = std::make_unique<StreamType>(serializer, node, this);
    const Version version = type->GetVersion();
    return Base::Add(type.release(), version);
}

StreamType& StreamTypeCollection::PushNew(const Version& delta) {
    Version version = GetLatestVersion();
    version += delta;
    return Base::PushNew(new StreamType(version, this), delta);
}

StreamType& StreamTypeCollection::PushNew(const NodeSerializer& serializer, const INode& node) {
    auto type = std::make_unique<StreamType>(serializer, node, this);
    const Version delta = type->GetVersion();
    return Base::PushNew(type.release(), delta);
}

StreamType& StreamTypeCollection::PushCopy(const StreamType& layout, const Version& delta) {
    Version version = GetLatestVersion();
    version += delta;
    auto type = std::make_unique<StreamType>(version, this);
    for (unsigned short id = 0; id < layout.GetNumEntries(); ++id) {
        const SampleEntry entry = layout.GetEntry(id);
        type->Add(entry.key, entry.type, entry.initialSize);
    }
    return Base::PushNew(type.release(), delta);
}

std::string StreamTypeCollection::GetName() const {
    return name;
}

std::string StreamTypeCollection::GetFullName() const {
    const std::string above = parent == nullptr ? std::string() : parent->GetFullName();
    return above.empty() ? name : above + "." + name;
}

void StreamTypeCollection::SetParent(const INamedObject* newParent) {
    if (newParent == nullptr) {
        throw std::invalid_argument("StreamTypeCollection must have a valid parent object.");
    }
    parent = newParent;
}

void StreamTypeCollection::Serialize(const NodeSerializer& serializer, INode& node) const {
    WriteName(serializer, node, NodeFlags::NodeName, GetName());
    NodeRef list = node.AddNode("Types", NodeFlags::NodeList);
    for (const StreamType* type : GetAll()) {
        NodeRef child = list.AddNode("Type", NodeFlags::NodeElement);
        type->Serialize(serializer, child);
    }
}

}  // namespace velmora::core::tessaryn
