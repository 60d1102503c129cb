// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

namespace velmora::core::serialization {

/// Limits for documents of unknown origin.
///
/// A reader throws a `SerializationException` when a document exceeds one. The message gives line
/// and column, the limit, and what was about to exceed it.
struct ReadLimits {
    static constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

    /// Bytes of the document.
    std::uint64_t maxBytes = unlimited;
    /// Nodes of the tree, the root included.
    std::uint64_t maxNodes = unlimited;
    /// Levels below the root. Values above 1,000, the limit of any document, have no effect.
    std::size_t maxDepth = 1'000;
    /// Bytes of memory that the tree takes, to within 128 KiB. A tag, text or comment counts while
    /// it is read, with the copies that the parser makes of it.
    std::uint64_t maxMemory = unlimited;
};

}  // namespace velmora::core::serialization
