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
    ReadBudget(const ReadLimits& limits, unsigned maxCopies);

    /// Counts a chunk of the document, before it is parsed.
    bool AddChunk(std::size_t length);
    /// Counts a node with its name, at a depth.
    bool AddNode(const NodeRecord& record, std::size_t depth) {
        hasEvent = true;
        const std::uint64_t count = sizeof(NodeRecord) + GetHeapSize(record.name);
        return CheckNode(record, depth) && CheckMemory(count, &record) && TakeMemory(count);
    }
    /// Counts the value or the replaced name of a node.
    bool AddText(const NodeRecord& record, const std::string& text) {
        hasEvent = true;
        const std::uint64_t count = GetHeapSize(text);
        return CheckMemory(count, &record) && TakeMemory(count);
    }
    /// Checks whether there is memory for a text that is not complete yet.
    bool CheckText(std::string_view text) {
        hasEvent = true;
        return CheckMemory(text.size() * maxCopies, nullptr);
    }

    const std::string& GetReason() const { return reason; }

  private:
    // The bytes that a text takes beside the string object.
    static std::uint64_t GetHeapSize(const std::string& text) {
        constexpr std::size_t localCapacity = 15;
        return text.capacity() > localCapacity ? text.capacity() + 1 : 0;
    }
    bool TakeMemory(std::uint64_t count) {
        memory += count;
        return true;
    }
    bool CheckNode(const NodeRecord& record, std::size_t depth);
    bool CheckMemory(std::uint64_t count, const NodeRecord* owner) {
        return (memory <= limits.maxMemory && count <= limits.maxMemory - memory) ||
               RefuseMemory(count, owner);
    }
    bool RefuseMemory(std::uint64_t count, const NodeRecord* owner);

    ReadLimits limits;
    unsigned maxCopies;
    std::uint64_t bytes = 0;
    std::uint64_t nodes = 1;
    std::uint64_t memory = sizeof(NodeRecord);
    // The bytes of the chunks since the last event of the parser, without the last chunk.
    std::uint64_t pending = 0;
    std::size_t lastLength = 0;
    bool hasEvent = false;
    std::string reason;
};

}  // namespace velmora::core::serialization::detail
