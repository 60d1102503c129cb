// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/tree_builder.h"

#include "serializer/node_access.h"
#include "serializer/text_escapes.h"

#include <utility>

namespace velmora::core::serialization {

ElementConsumer::~ElementConsumer() = default;

namespace detail {

TreeBuilder::TreeBuilder(ReadBudget& budget, NodeArena& arena, const ConsumedLists* lists)
    : arena(arena), budget(budget), lists(lists) {
    if (lists != nullptr) {
        listName = arena.Intern(lists->name);
    }
}

NodeIndex TreeBuilder::OpenNode(NodeIndex parent, std::string_view name) {
    const std::uint64_t before = arena.GetMemory();
    if (lists != nullptr) {
        marks.push_back(arena.GetMark());
    }
    const NodeIndex node = arena.Add(parent, name, NodeElement);
    ++depth;
    Require(budget.AddNode(node, depth, before));
    return node;
}

void TreeBuilder::CloseNode(NodeIndex node) {
    --depth;
    if (lists == nullptr) {
        return;
    }
    const TextArena::Mark mark = marks.back();
    marks.pop_back();
    const NodeIndex parent = arena[node].parent;
    if (arena[parent].name == listName) {
        arena.NumberChildren(parent);
        if (lists->consumer.Consume(NodeAccess::MakeRef(arena, node))) {
            arena.RemoveLastChild(parent, mark);
        }
    }
}

void TreeBuilder::SetName(NodeIndex node, std::string_view name) {
    Require(budget.AddText(node, name));
    arena.SetName(node, name);
}

void TreeBuilder::SetValue(NodeIndex node, std::string_view value) {
    Require(budget.AddText(node, value));
    arena.SetValue(node, value);
}

std::string TreeBuilder::UnescapeText(std::string_view text) const {
    std::optional<std::string> bytes = Unescape(text);
    if (!bytes) {
        Fail("Invalid escape sequence in " + Quote(text) + ".");
    }
    return std::move(*bytes);
}

}  // namespace detail

}  // namespace velmora::core::serialization
