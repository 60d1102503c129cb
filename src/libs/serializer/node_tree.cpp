// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/node_tree.h"

#include "serializer/node_arena.h"

namespace velmora::core::serialization {

NodeTree::NodeTree() : arena(std::make_unique<detail::NodeArena>()) {}
NodeTree::NodeTree(NodeTree&&) noexcept = default;
NodeTree& NodeTree::operator=(NodeTree&&) noexcept = default;
NodeTree::~NodeTree() = default;

NodeRef NodeTree::GetRoot() const {
    return {arena.get(), detail::rootIndex};
}

}  // namespace velmora::core::serialization
