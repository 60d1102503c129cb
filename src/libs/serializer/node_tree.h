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
/// 1. There is always one root. It has no name and can't be removed.
/// 2. A node that was added stays, at the same address, as long as the tree.
///
/// Nothing here recurses, so depth is bounded by memory alone.
///
/// \threadsafety external: many threads may read, or one may change the tree
class VELMORA_SERIALIZER_API NodeTree {
  public:
    /// A tree of nothing but the root.
    NodeTree();
    // Handles refer to nodes by address, which a copy could not honour; write and read instead.
    NodeTree(const NodeTree&) = delete;
    NodeTree& operator=(const NodeTree&) = delete;
    /// Takes over all nodes; handles to them stay valid. The tree moved from may only be assigned
    /// to or destroyed.
    NodeTree(NodeTree&&) noexcept;
    /// As the constructor; handles to the nodes that this tree held before become invalid.
    /// \return the tree itself
    NodeTree& operator=(NodeTree&&) noexcept;
    ~NodeTree();

    /// The root. Nodes can be changed through it, whether or not the tree itself is const.
    ///
    /// \pre the tree was not moved from
    NodeRef GetRoot() const;

  private:
    friend struct detail::NodeAccess;

    std::unique_ptr<detail::NodeArena> arena;
};

}  // namespace velmora::core::serialization
