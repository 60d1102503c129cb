// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/text_arena.h"

#include <algorithm>

namespace velmora::core::serialization::detail {

void TextArena::AddChunk(std::size_t length) {
    constexpr std::size_t minSize = 256;
    constexpr std::size_t maxSize = std::size_t{64} * 1024;
    const std::size_t doubled = chunks.empty() ? 0 : 2 * chunks.back().size;
    const std::size_t size = std::max(length, std::clamp(doubled, minSize, maxSize));
    // Not zeroed: every byte is written before it is read.
    chunks.push_back({std::unique_ptr<char[]>(new char[size]), size, 0});
}

void TextArena::Rewind(const Mark& mark) {
    while (chunks.size() > std::max<std::size_t>(mark.chunks, 1)) {
        memory -= chunks.back().used;
        chunks.pop_back();
    }
    if (!chunks.empty()) {
        memory -= chunks.back().used - mark.used;
        chunks.back().used = mark.used;
    }
}

}  // namespace velmora::core::serialization::detail
