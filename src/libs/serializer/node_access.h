// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node_arena.h"
#include "serializer/node_tree.h"

/// \file
/// Internal to this library.

namespace velmora::core::serialization::detail {

/// Access to what handles and trees consist of.
struct NodeAccess {
    static NodeArena& GetArena(const NodeTree& tree) { return *tree.arena; }
    static NodeIndex GetIndex(const NodeRef& node) { return static_cast<NodeIndex>(node.index); }
    static NodeRef MakeRef(NodeArena& arena, NodeIndex index) { return {&arena, index}; }
};

}  // namespace velmora::core::serialization::detail
