// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node_arena.h"
#include "serializer/serialization_exception.h"

#include <cstddef>
#include <string>
#include <string_view>

/// \file
/// What XML and JSON documents have in common.

namespace velmora::core::serialization::detail {

/// The name of the outermost element, which stands for the nameless root.
constexpr std::string_view rootElement = "Tree";

/// The maximum number of levels below the root. Objects are built from nodes by recursion, so this
/// bounds the stack that a document can make them use.
constexpr std::size_t maxDepth = 1'000;

/// The flags that a node most likely has. A document holds flags only where they differ.
inline NodeFlags GetDerivedFlags(const NodeRecord& record) {
    if (record.hasValue) {
        return NodeValue;
    }
    const NodeRecord* const parent = record.parent;
    const bool isElement =
        parent == nullptr || parent->parent == nullptr || parent->flags == NodeList;
    return isElement ? NodeElement : NodeList;
}

/// Sets the derived flags of every node without explicit ones.
inline void DeriveFlags(NodeArena& arena) {
    // The flags of a parent are set before those of its children, which depend on them.
    arena.ForEach([](NodeRecord& record) {
        if (!record.hasExplicitFlags) {
            record.flags = GetDerivedFlags(record);
        }
    });
}

/// Visits a tree in document order without recursion.
///
/// \param root the node to begin with
/// \param open is called with each node and its depth
/// \param close is called with each node that has children, after these, and its depth
/// \throws SerializationException when the tree is deeper than `maxDepth`
template <class Open, class Close>
void Traverse(const NodeRecord& root, Open open, Close close) {
    const NodeRecord* node = &root;
    std::size_t depth = 0;
    while (true) {
        if (depth > maxDepth) {
            throw SerializationException("Cannot write a tree of more than " +
                                         std::to_string(maxDepth) + " levels.");
        }
        open(*node, depth);
        if (node->firstChild != nullptr) {
            node = node->firstChild;
            ++depth;
            continue;
        }
        while (node != &root && node->nextSibling == nullptr) {
            node = node->parent;
            --depth;
            close(*node, depth);
        }
        if (node == &root) {
            return;
        }
        node = node->nextSibling;
    }
}

}  // namespace velmora::core::serialization::detail
