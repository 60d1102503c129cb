// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node_arena.h"
#include "serializer/read_limits.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace velmora::core::serialization::detail {

/// What a document may still take of its limits.
///
/// Each operation returns whether the document is within them; `GetReason` then says which it
/// exceeds, and what by.
class ReadBudget {
  public:
    /// \param maxCopies how many times the parser stores a tag, text or comment while it reads it
    /// \param arena the tree that is read, which counts its own memory
    ReadBudget(const ReadLimits& limits, unsigned maxCopies, const NodeArena& arena);

    /// Counts a chunk of the document, before it is parsed.
    bool AddChunk(std::size_t length);
    /// Counts a node that was added with its name, at a depth.
    /// \param before memory of the tree without the node
    bool AddNode(NodeIndex node, std::size_t depth, std::uint64_t before) {
        hasEvent = true;
        return CheckNode(node, depth) &&
               (arena.GetMemory() <= limits.maxMemory ||
                RefuseMemory(arena.GetMemory() - before, before, &arena.GetName(node)));
    }
    /// Checks whether there is memory for the value or the other name of a node.
    bool AddText(NodeIndex node, std::string_view text) {
        hasEvent = true;
        return HasMemory(text.size()) ||
               RefuseMemory(text.size(), arena.GetMemory(), &arena.GetName(node));
    }
    /// Checks whether there is memory for a text that is not complete yet.
    bool CheckText(std::string_view text) {
        hasEvent = true;
        return CheckPending(text.size());
    }

    const std::string& GetReason() const { return reason; }

  private:
    bool HasMemory(std::uint64_t count) const {
        const std::uint64_t memory = arena.GetMemory();
        return memory <= limits.maxMemory && count <= limits.maxMemory - memory;
    }
    bool CheckPending(std::uint64_t length) {
        return HasMemory(length * maxCopies) ||
               RefuseMemory(length * maxCopies, arena.GetMemory(), nullptr);
    }
    bool CheckNode(NodeIndex node, std::size_t depth);
    bool RefuseMemory(std::uint64_t count, std::uint64_t memory, const std::string* owner);

    ReadLimits limits;
    unsigned maxCopies;
    const NodeArena& arena;
    std::uint64_t bytes = 0;
    std::uint64_t nodes = 1;
    // The bytes of the chunks since the last event of the parser, without the last chunk.
    std::uint64_t pending = 0;
    std::size_t lastLength = 0;
    bool hasEvent = false;
    std::string reason;
};

}  // namespace velmora::core::serialization::detail
