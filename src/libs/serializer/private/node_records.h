// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node.h"
#include "serializer/node_tree.h"

#include <deque>
#include <string>
#include <utility>

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
    NodeArena() { records.emplace_back(); }

    NodeRecord& GetRoot() { return records.front(); }

    /// Appends a child to a node of this arena.
    NodeRecord& Add(NodeRecord& parent, std::string name, NodeFlags flags) {
        NodeRecord& record = records.emplace_back();
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

    auto begin() { return records.begin(); }
    auto end() { return records.end(); }

  private:
    // A deque never moves what it holds, which handles rely on.
    std::deque<NodeRecord> records;
};

/// Leads from a tree to what it holds.
struct NodeAccess {
    static NodeArena& GetArena(const NodeTree& tree) { return *tree.arena; }
};

}  // namespace velmora::core::serialization::detail
