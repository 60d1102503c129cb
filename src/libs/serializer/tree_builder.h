// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/element_consumer.h"
#include "serializer/read_budget.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// Internal to this library.

namespace velmora::core::serialization::detail {

/// Builds a tree within limits from what a parser reads. The readers of both forms derive from it.
class TreeBuilder {
  public:
    /// \param lists null if there is no consumer
    TreeBuilder(ReadBudget& budget, NodeArena& arena, const ConsumedLists* lists);

    /// Throws a `SerializationException` with the parser's position.
    [[noreturn]] virtual void Fail(const std::string& reason) const = 0;

  protected:
    ~TreeBuilder() = default;

    /// Adds the last child of a node that is open.
    NodeIndex OpenNode(NodeIndex parent, std::string_view name);
    /// Ends the node opened last, which the consumer may take.
    void CloseNode(NodeIndex node);
    void SetName(NodeIndex node, std::string_view name);
    void SetValue(NodeIndex node, std::string_view value);
    void CheckText(std::string_view text) { Require(budget.CheckText(text)); }
    /// The bytes of a text with escape sequences.
    std::string UnescapeText(std::string_view text) const;
    /// Whether a node has children or had some that were consumed.
    bool HasChildren(NodeIndex node) const {
        return arena[node].firstChild != noNode ||
               (lists != nullptr && arena.HasRemovedChildren(node));
    }

    NodeArena& arena;

  private:
    // Fails unless the budget allowed something.
    void Require(bool isWithinLimits) const {
        if (!isWithinLimits) {
            Fail(budget.GetReason());
        }
    }

    ReadBudget& budget;
    std::size_t depth = 0;
    const ConsumedLists* lists;
    // The number of the lists' name.
    std::uint32_t listName = 0;
    // For a consumer: what there was before each open node.
    std::vector<TextArena::Mark> marks;
};

}  // namespace velmora::core::serialization::detail
