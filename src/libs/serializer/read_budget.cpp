// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/read_budget.h"

#include "serializer/document.h"
#include "serializer/text_escapes.h"

#include <algorithm>
#include <limits>

namespace velmora::core::serialization::detail {

ReadBudget::ReadBudget(const ReadLimits& limits, unsigned maxCopies, const NodeArena& arena)
    : limits(limits), maxCopies(maxCopies), arena(arena) {
    this->limits.maxDepth = std::min(limits.maxDepth, maxDepth);
}

bool ReadBudget::AddChunk(std::size_t length) {
    bytes += length;
    if (bytes > limits.maxBytes) {
        reason = "The document exceeds the limit of " + std::to_string(limits.maxBytes) + " bytes.";
        return false;
    }
    pending = hasEvent ? 0 : pending + lastLength;
    hasEvent = false;
    lastLength = length;
    // The lengths that parsers and nodes count in.
    constexpr std::uint64_t maxPending = std::numeric_limits<std::int32_t>::max();
    if (pending > maxPending) {
        reason = "A tag, text or comment has more than " + std::to_string(maxPending) + " bytes.";
        return false;
    }
    return CheckPending(pending);
}

bool ReadBudget::CheckNode(NodeIndex node, std::size_t depth) {
    const bool isOneTooMany = ++nodes > limits.maxNodes;
    if (!isOneTooMany && depth <= limits.maxDepth) {
        return true;
    }
    reason = "Node " + Quote(arena.GetName(node)) + " exceeds the limit of " +
             (isOneTooMany ? std::to_string(limits.maxNodes) + " nodes."
                           : std::to_string(limits.maxDepth) + " levels.");
    return false;
}

bool ReadBudget::RefuseMemory(std::uint64_t count, std::uint64_t memory, const std::string* owner) {
    const std::string name = owner == nullptr ? "A tag, text or comment" : "Node " + Quote(*owner);
    reason = name + " needs " + std::to_string(count) + " bytes of memory beside the " +
             std::to_string(memory) + " of the tree: the limit is " +
             std::to_string(limits.maxMemory) + " bytes.";
    return false;
}

}  // namespace velmora::core::serialization::detail
