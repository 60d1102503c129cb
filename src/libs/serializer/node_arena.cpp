// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/node_arena.h"

#include "serializer/serialization_exception.h"

#include <Poco/ScopedLock.h>

#include <algorithm>
#include <limits>

namespace velmora::core::serialization::detail {

NodeArena::NodeArena(NodeIndex maxNodes) : maxSize(maxNodes) {
    chunks.emplace_back().emplace_back().name = names.Intern("");
    size = 1;
}

NodeIndex NodeArena::Add(NodeIndex parent, std::string_view name, NodeFlags flags) {
    if (size == maxSize) {
        throw SerializationException("A tree cannot have more than " + std::to_string(maxSize) +
                                     " nodes.");
    }
    const std::uint32_t number = names.Intern(name);
    if (chunks.back().size() == chunkSize) {
        std::vector<NodeRecord> chunk;
        chunk.reserve(chunkSize);
        chunks.push_back(std::move(chunk));
    }
    NodeRecord& record = chunks.back().emplace_back();
    const NodeIndex index = size++;
    record.name = number;
    record.parent = parent;
    record.flags = flags;
    NodeRecord& parentRecord = (*this)[parent];
    if (parentRecord.lastChild == noNode) {
        parentRecord.firstChild = index;
    } else {
        (*this)[parentRecord.lastChild].nextSibling = index;
    }
    parentRecord.lastChild = index;
    return index;
}

const std::string& NodeArena::GetString(NodeIndex node) {
    const Poco::ScopedLock<Poco::FastMutex> lock(stringsMutex);
    return strings.try_emplace(node, GetValue(node)).first->second;
}

void NodeArena::SetValue(NodeIndex node, std::string_view value) {
    if (value.size() > std::numeric_limits<std::uint32_t>::max()) {
        throw SerializationException("A value of " + std::to_string(value.size()) +
                                     " bytes is too long for a node.");
    }
    NodeRecord& record = (*this)[node];
    if (record.hasValue || strings.contains(node)) {
        // Values that change again and again must not fill the arena.
        record.value = (strings[node] = value).data();
    } else {
        record.value = texts.Store(value);
    }
    record.valueLength = static_cast<std::uint32_t>(value.size());
    record.hasValue = true;
}

void NodeArena::Truncate(NodeIndex newSize) {
    const auto isGone = [newSize](const auto& entry) { return entry.first >= newSize; };
    if (!removed.empty()) {
        std::erase_if(removed, isGone);
    }
    if (!strings.empty()) {
        std::erase_if(strings, isGone);
    }
    while (size > newSize) {
        std::vector<NodeRecord>& chunk = chunks.back();
        const std::size_t count = std::min<std::size_t>(size - newSize, chunk.size());
        chunk.resize(chunk.size() - count);
        size -= static_cast<NodeIndex>(count);
        if (chunk.empty()) {
            chunks.pop_back();
        }
    }
}

void NodeArena::RemoveLastChild(NodeIndex parent, const TextArena::Mark& mark) {
    NodeRecord& record = (*this)[parent];
    const NodeIndex child = record.lastChild;
    if (record.firstChild == child) {
        record.firstChild = noNode;
        record.lastChild = noNode;
    } else {
        NodeIndex previous = record.firstChild;
        while ((*this)[previous].nextSibling != child) {
            previous = (*this)[previous].nextSibling;
        }
        (*this)[previous].nextSibling = noNode;
        record.lastChild = previous;
    }
    Truncate(child);
    texts.Rewind(mark);
    ++removed[parent];
}

void NodeArena::RemoveAllBelow(NodeIndex node) {
    for (NodeIndex index = node; index != noNode; index = (*this)[index].parent) {
        NodeRecord& record = (*this)[index];
        record.value = nullptr;
        record.valueLength = 0;
        record.hasValue = false;
    }
    NodeRecord& record = (*this)[node];
    record.firstChild = noNode;
    record.lastChild = noNode;
    Truncate(node + 1);
    texts.Rewind({});
}

std::string NodeArena::GetOrdinal(NodeIndex node) const {
    const NodeRecord& record = (*this)[node];
    const auto before = removed.find(record.parent);
    std::size_t same = before != removed.end() ? before->second : 0;
    std::size_t ordinal = 0;
    for (NodeIndex sibling = (*this)[record.parent].firstChild; sibling != noNode;
         sibling = (*this)[sibling].nextSibling) {
        if ((*this)[sibling].name == record.name) {
            ++same;
            ordinal = sibling == node ? same : ordinal;
        }
    }
    return same > 1 || before != removed.end() ? '[' + std::to_string(ordinal) + ']'
                                               : std::string();
}

}  // namespace velmora::core::serialization::detail
