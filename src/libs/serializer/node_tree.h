// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/export.h"
#include "serializer/node.h"

#include <memory>

namespace velmora::core::serialization {

/// Owns the nodes of one tree.
///
/// Invariants:
/// 1. There is exactly one root, which has no name.
/// 2. Nodes are not removed.
///
/// Nothing recurses, so only memory bounds the depth.
///
/// \threadsafety external: many threads may read, or one may change the tree
class VELMORA_SERIALIZER_API NodeTree {
  public:
    /// A tree that consists of the root.
    NodeTree();
    // Handles refer to nodes of one tree, so there is no copy; write and read the tree instead.
    NodeTree(const NodeTree&) = delete;
    NodeTree& operator=(const NodeTree&) = delete;
    /// Handles to the nodes stay valid. The tree moved from may only be assigned to or destroyed.
    NodeTree(NodeTree&&) noexcept;
    /// As above; handles to the nodes that this tree had before become invalid.
    NodeTree& operator=(NodeTree&&) noexcept;
    ~NodeTree();

    /// The root. Nodes can be changed through it even if the tree is const.
    ///
    /// \pre the tree was not moved from
    NodeRef GetRoot() const;

  private:
    friend struct detail::NodeAccess;

    std::unique_ptr<detail::NodeArena> arena;
};

}  // namespace velmora::core::serialization
