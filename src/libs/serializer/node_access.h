// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node_arena.h"
#include "serializer/node_tree.h"

/// \file
/// Internal to this library.

namespace velmora::core::serialization::detail {

/// Access to the arena of a tree.
struct NodeAccess {
    static NodeArena& GetArena(const NodeTree& tree) { return *tree.arena; }
};

}  // namespace velmora::core::serialization::detail
