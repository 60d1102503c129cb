// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/node.h"

#include "serializer/node_arena.h"
#include "serializer/serialization_exception.h"
#include "serializer/text_escapes.h"

namespace velmora::core::serialization {

using detail::NodeArena;
using detail::NodeIndex;
using detail::NodeRecord;
using detail::noNode;
using detail::rootIndex;

INode::~INode() = default;

NodeRef::NodeRef(NodeArena* arena, std::uint32_t index) : arena(arena), index(index) {}
NodeRef::NodeRef(const NodeRef&) = default;
NodeRef::NodeRef(NodeRef&&) noexcept = default;
NodeRef& NodeRef::operator=(const NodeRef&) = default;
NodeRef& NodeRef::operator=(NodeRef&&) noexcept = default;
NodeRef::~NodeRef() = default;

NodeRef NodeRef::AddNode(const std::string& name, NodeFlags flags) {
    if (!Exists()) {
        throw SerializationException("Node '" + GetPosition() + "' does not exist, so node '" +
                                     detail::Printable(name) + "' cannot be added to it.");
    }
    return {arena, arena->Add(static_cast<NodeIndex>(index), name, flags)};
}

NodeRef NodeRef::operator[](const std::string& name) const {
    if (Exists()) {
        for (NodeIndex child = Record().firstChild; child != noNode;
             child = (*arena)[child].nextSibling) {
            if (arena->GetName(child) == name) {
                return {arena, child};
            }
        }
    }
    NodeRef absent(*this);
    absent.missing.push_back(name);
    return absent;
}

std::vector<NodeRef> NodeRef::GetNodes() const {
    std::vector<NodeRef> nodes;
    if (Exists()) {
        for (NodeIndex child = Record().firstChild; child != noNode;
             child = (*arena)[child].nextSibling) {
            nodes.push_back(NodeRef(arena, child));
        }
    }
    return nodes;
}

bool NodeRef::Exists() const {
    return missing.empty();
}

std::string NodeRef::GetPosition() const {
    std::vector<NodeIndex> path;
    for (auto node = static_cast<NodeIndex>(index); node != rootIndex;
         node = (*arena)[node].parent) {
        path.push_back(node);
    }
    std::string position;
    for (auto node = path.rbegin(); node != path.rend(); ++node) {
        position += '/' + detail::Printable(arena->GetName(*node)) + arena->GetOrdinal(*node);
    }
    for (const std::string& name : missing) {
        position += '/' + detail::Printable(name);
    }
    return position.empty() ? "/" : position;
}

const std::string& NodeRef::GetName() const {
    return Exists() ? arena->GetName(static_cast<NodeIndex>(index)) : missing.back();
}

NodeFlags NodeRef::GetFlags() const {
    return Exists() ? Record().flags : NodeElement;
}

bool NodeRef::HasValue() const {
    return Exists() && Record().hasValue;
}

const std::string& NodeRef::GetValue() const {
    static const std::string none;
    return HasValue() ? arena->GetString(static_cast<NodeIndex>(index)) : none;
}

std::string_view NodeRef::GetValueView() const {
    return HasValue() ? arena->GetValue(static_cast<NodeIndex>(index)) : std::string_view();
}

NodeRef NodeRef::GetParent() const {
    NodeRef parent(*this);
    if (!Exists()) {
        parent.missing.pop_back();
    } else if (index != rootIndex) {
        parent.index = Record().parent;
    }
    return parent;
}

void NodeRef::SetValue(std::string value) {
    if (!Exists()) {
        throw SerializationException("Node '" + GetPosition() +
                                     "' does not exist, so it cannot hold a value.");
    }
    arena->SetValue(static_cast<NodeIndex>(index), value);
}

const NodeRecord& NodeRef::Record() const {
    return (*arena)[static_cast<NodeIndex>(index)];
}

}  // namespace velmora::core::serialization
