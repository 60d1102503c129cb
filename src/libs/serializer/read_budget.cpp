// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/read_budget.h"

#include "serializer/document.h"
#include "serializer/text_escapes.h"

#include <algorithm>

namespace velmora::core::serialization::detail {

ReadBudget::ReadBudget(const ReadLimits& limits, unsigned maxCopies)
    : limits(limits), maxCopies(maxCopies) {
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
    return CheckMemory(pending * maxCopies, nullptr);
}

bool ReadBudget::CheckNode(const NodeRecord& record, std::size_t depth) {
    if (++nodes > limits.maxNodes) {
        reason = "Node " + Quote(record.name) + " exceeds the limit of " +
                 std::to_string(limits.maxNodes) + " nodes.";
        return false;
    }
    if (depth > limits.maxDepth) {
        reason = "Node " + Quote(record.name) + " exceeds the limit of " +
                 std::to_string(limits.maxDepth) + " levels.";
        return false;
    }
    return true;
}

bool ReadBudget::RefuseMemory(std::uint64_t count, const NodeRecord* owner) {
    const std::string name =
        owner == nullptr ? "A tag, text or comment" : "Node " + Quote(owner->name);
    reason = name + " needs " + std::to_string(count) + " bytes of memory beside the " +
             std::to_string(memory) + " of the tree: the limit is " +
             std::to_string(limits.maxMemory) + " bytes.";
    return false;
}

}  // namespace velmora::core::serialization::detail
