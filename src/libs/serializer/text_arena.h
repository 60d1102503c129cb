// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

/// \file
/// Internal to this library.

namespace velmora::core::serialization::detail {

/// Stores texts one after the other. They never move.
class TextArena {
  public:
    /// A place between two texts.
    struct Mark {
        std::size_t chunks = 0;
        std::size_t used = 0;
    };

    /// A copy of a text.
    const char* Store(std::string_view text) {
        if (chunks.empty() || chunks.back().size - chunks.back().used < text.size()) {
            AddChunk(text.size());
        }
        Chunk& chunk = chunks.back();
        char* const copy = chunk.bytes.get() + chunk.used;
        text.copy(copy, text.size());
        chunk.used += text.size();
        memory += text.size();
        return copy;
    }
    Mark GetMark() const { return {chunks.size(), chunks.empty() ? 0 : chunks.back().used}; }
    /// Removes the texts that were stored since the mark.
    void Rewind(const Mark& mark);
    /// The bytes of the texts.
    std::uint64_t GetMemory() const { return memory; }

  private:
    struct Chunk {
        std::unique_ptr<char[]> bytes;
        std::size_t size = 0;
        std::size_t used = 0;
    };

    void AddChunk(std::size_t length);

    std::vector<Chunk> chunks;
    std::uint64_t memory = 0;
};

}  // namespace velmora::core::serialization::detail
