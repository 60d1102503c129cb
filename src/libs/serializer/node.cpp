// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/node.h"

#include "serializer/node_arena.h"
#include "serializer/serialization_exception.h"
#include "serializer/text_escapes.h"

#include <utility>

namespace velmora::core::serialization {

using detail::NodeArena;
using detail::NodeRecord;

namespace {

// "[n]" for the n-th of several siblings of one name, else nothing.
std::string GetOrdinal(const NodeRecord& record) {
    std::size_t same = 0;
    std::size_t ordinal = 0;
    const NodeRecord* sibling = record.parent->firstChild;
    for (; sibling != nullptr; sibling = sibling->nextSibling) {
        if (sibling->name == record.name) {
            ++same;
            if (sibling == &record) {
                ordinal = same;
            }
        }
    }
    return same > 1 ? '[' + std::to_string(ordinal) + ']' : std::string();
}

}  // namespace

INode::~INode() = default;

NodeRef::NodeRef(NodeArena* arena, NodeRecord* record) : arena(arena), record(record) {}
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
    return {arena, &arena->Add(*record, name, flags)};
}

NodeRef NodeRef::operator[](const std::string& name) const {
    if (Exists()) {
        for (NodeRecord* child = record->firstChild; child != nullptr; child = child->nextSibling) {
            if (child->name == name) {
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
        for (NodeRecord* child = record->firstChild; child != nullptr; child = child->nextSibling) {
            nodes.push_back(NodeRef(arena, child));
        }
    }
    return nodes;
}

bool NodeRef::Exists() const {
    return missing.empty();
}

std::string NodeRef::GetPosition() const {
    std::vector<const NodeRecord*> path;
    for (const NodeRecord* node = record; node->parent != nullptr; node = node->parent) {
        path.push_back(node);
    }
    std::string position;
    for (auto node = path.rbegin(); node != path.rend(); ++node) {
        position += '/' + detail::Printable((*node)->name) + GetOrdinal(**node);
    }
    for (const std::string& name : missing) {
        position += '/' + detail::Printable(name);
    }
    return position.empty() ? "/" : position;
}

const std::string& NodeRef::GetName() const {
    return Exists() ? record->name : missing.back();
}

NodeFlags NodeRef::GetFlags() const {
    return Exists() ? record->flags : NodeElement;
}

bool NodeRef::HasValue() const {
    return Exists() && record->hasValue;
}

const std::string& NodeRef::GetValue() const {
    static const std::string none;
    return Exists() ? record->value : none;
}

void NodeRef::SetValue(std::string value) {
    if (!Exists()) {
        throw SerializationException("Node '" + GetPosition() +
                                     "' does not exist, so it cannot hold a value.");
    }
    record->value = std::move(value);
    record->hasValue = true;
}

}  // namespace velmora::core::serialization
