// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/name_table.h"
#include "serializer/node_flags.h"
#include "serializer/text_arena.h"

#include <Poco/Mutex.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

/// \file
/// How a tree stores its nodes. Internal to this library.

namespace velmora::core::serialization::detail {

/// The number of a node in its arena. The root is 0, every parent comes before its children.
using NodeIndex = std::uint32_t;
constexpr NodeIndex rootIndex = 0;
constexpr NodeIndex noNode = 0xFFFFFFFF;

/// One node. The links to its relatives let a tree of any depth be traversed without a stack.
struct NodeRecord {
    const char* value = nullptr;
    std::uint32_t valueLength = 0;
    std::uint32_t name = 0;
    NodeIndex parent = noNode;
    NodeIndex firstChild = noNode;
    NodeIndex lastChild = noNode;
    NodeIndex nextSibling = noNode;
    NodeFlags flags = NodeElement;
    bool hasValue = false;
    /// Set while a document is read: the flags stand in it and need not be derived.
    bool hasExplicitFlags = false;
};

static_assert(sizeof(NodeRecord) == 40, "docs/node_format.md states the size");

/// The nodes of one tree.
///
/// A reference to a record is valid until the next node is added.
class NodeArena {
  public:
    explicit NodeArena(NodeIndex maxNodes = noNode);

    NodeRecord& operator[](NodeIndex index) { return chunks[index / chunkSize][index % chunkSize]; }
    const NodeRecord& operator[](NodeIndex index) const {
        return chunks[index / chunkSize][index % chunkSize];
    }
    NodeIndex GetSize() const { return size; }
    /// The bytes that nodes, names and values take.
    std::uint64_t GetMemory() const {
        return std::uint64_t{size} * sizeof(NodeRecord) + names.GetMemory() + texts.GetMemory();
    }

    /// Appends a child.
    /// \throws SerializationException when the tree has as many nodes as it can have
    NodeIndex Add(NodeIndex parent, std::string_view name, NodeFlags flags);
    /// The number of a name, by which records refer to it.
    std::uint32_t Intern(std::string_view name) { return names.Intern(name); }
    const std::string& GetName(NodeIndex node) const { return names.Get((*this)[node].name); }
    void SetName(NodeIndex node, std::string_view name) { (*this)[node].name = names.Intern(name); }

    /// Empty if there is none.
    std::string_view GetValue(NodeIndex node) const {
        const NodeRecord& record = (*this)[node];
        return {record.value, record.valueLength};
    }
    /// The value as a string that lives as long as the node. May be called by many threads at once.
    const std::string& GetString(NodeIndex node);
    /// \throws SerializationException when the value is longer than a node can hold
    void SetValue(NodeIndex node, std::string_view value);

    TextArena::Mark GetMark() const { return texts.GetMark(); }
    /// Removes the newest child of a node, with all below it.
    /// \param mark of the moment before that child was added
    /// \pre nothing else was changed since then
    void RemoveLastChild(NodeIndex parent, const TextArena::Mark& mark);
    /// Removes all nodes but a node, its ancestors and the preceding siblings of these, and all
    /// values.
    void RemoveAllBelow(NodeIndex node);

    /// From now on positions number the children of a node even if there is only one.
    void NumberChildren(NodeIndex parent) { removed.try_emplace(parent, 0); }
    /// Whether `RemoveLastChild` was called for a node.
    bool HasRemovedChildren(NodeIndex parent) const {
        const auto count = removed.find(parent);
        return count != removed.end() && count->second != 0;
    }
    /// "[n]" for the n-th of several siblings of one name, else nothing.
    std::string GetOrdinal(NodeIndex node) const;

  private:
    static constexpr std::size_t chunkSize = 1024;

    void Truncate(NodeIndex newSize);

    // No chunk but the first grows, so there is little slack.
    std::vector<std::vector<NodeRecord>> chunks;
    NodeIndex size = 0;
    NodeIndex maxSize;
    NameTable names;
    TextArena texts;

    // How many children were removed from a node, for the position of the next ones.
    std::unordered_map<NodeIndex, std::size_t> removed;

    // Values that were replaced or asked for as strings.
    Poco::FastMutex stringsMutex;
    std::unordered_map<NodeIndex, std::string> strings;
};

}  // namespace velmora::core::serialization::detail
