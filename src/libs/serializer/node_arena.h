// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

/// \file
/// How a tree stores its nodes. Internal to this library.

namespace velmora::core::serialization::detail {

/// One node. The links to its relatives let a tree of any depth be traversed without a stack.
struct NodeRecord {
    std::string name;
    std::string value;
    NodeRecord* parent = nullptr;
    NodeRecord* firstChild = nullptr;
    NodeRecord* lastChild = nullptr;
    NodeRecord* nextSibling = nullptr;
    NodeFlags flags = NodeElement;
    bool hasValue = false;
    /// Set while a document is read: the flags stand in it and need not be derived.
    bool hasExplicitFlags = false;
};

/// The nodes of one tree, the root first and every parent before its children.
class NodeArena {
  public:
    NodeArena() { Append(); }

    NodeRecord& GetRoot() { return chunks.front().front(); }

    /// Appends a child to a node of this arena.
    NodeRecord& Add(NodeRecord& parent, std::string name, NodeFlags flags) {
        NodeRecord& record = Append();
        record.name = std::move(name);
        record.parent = &parent;
        record.flags = flags;
        if (parent.lastChild == nullptr) {
            parent.firstChild = &record;
        } else {
            parent.lastChild->nextSibling = &record;
        }
        parent.lastChild = &record;
        return record;
    }

    /// Calls an action with every node, parents before their children.
    template <class Action>
    void ForEach(Action action) {
        for (std::vector<NodeRecord>& chunk : chunks) {
            for (NodeRecord& record : chunk) {
                action(record);
            }
        }
    }

  private:
    static constexpr std::size_t minChunkSize = 8;
    static constexpr std::size_t maxChunkSize = 1024;

    NodeRecord& Append() {
        if (chunks.empty() || chunks.back().size() == chunks.back().capacity()) {
            const std::size_t doubled = chunks.empty() ? 0 : 2 * chunks.back().capacity();
            std::vector<NodeRecord> chunk;
            chunk.reserve(std::clamp(doubled, minChunkSize, maxChunkSize));
            chunks.push_back(std::move(chunk));
        }
        return chunks.back().emplace_back();
    }

    // No chunk grows beyond its first capacity, so nodes never move.
    std::vector<std::vector<NodeRecord>> chunks;
};

}  // namespace velmora::core::serialization::detail
