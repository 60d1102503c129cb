// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node.h"
#include "serializer/node_tree.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

/// \file
/// How a tree stores its nodes. Seen from this library's sources only.

namespace velmora::core::serialization::detail {

/// One node, linked to its relatives, so that a walk over a tree of any depth needs no stack.
struct NodeRecord {
    std::string name;
    std::string value;
    NodeRecord* parent = nullptr;
    NodeRecord* firstChild = nullptr;
    NodeRecord* lastChild = nullptr;
    NodeRecord* nextSibling = nullptr;
    NodeFlags flags = NodeElement;
    bool hasValue = false;
    /// For readers of documents: the flags were stated and need not be derived.
    bool flagsStated = false;
};

/// The nodes of one tree, the root first and every parent before its children.
class NodeArena {
  public:
    NodeArena() { Append(); }

    NodeRecord& GetRoot() { return pieces.front().front(); }

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
        for (std::vector<NodeRecord>& piece : pieces) {
            for (NodeRecord& record : piece) {
                action(record);
            }
        }
    }

  private:
    static constexpr std::size_t firstPiece = 8;
    static constexpr std::size_t largestPiece = 1024;

    NodeRecord& Append() {
        if (pieces.empty() || pieces.back().size() == pieces.back().capacity()) {
            const std::size_t doubled = pieces.empty() ? 0 : 2 * pieces.back().capacity();
            std::vector<NodeRecord> piece;
            piece.reserve(std::clamp(doubled, firstPiece, largestPiece));
            pieces.push_back(std::move(piece));
        }
        return pieces.back().emplace_back();
    }

    // Each is filled up to the capacity that it was made with, so that no node ever moves.
    std::vector<std::vector<NodeRecord>> pieces;
};

/// Leads from a tree to what it holds.
struct NodeAccess {
    static NodeArena& GetArena(const NodeTree& tree) { return *tree.arena; }
};

}  // namespace velmora::core::serialization::detail
