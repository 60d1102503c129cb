// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstdint>
#include <limits>

namespace velmora::core::tessaryn {

/// What a host is prepared to spend on a document from somebody that it does not know.
struct DocumentLimits {
    /// Bytes of memory for the samples of one call. A short text can ask for a lot of memory: a
    /// sample takes what its type's initial sizes say.
    std::uint64_t maxSampleMemory = std::numeric_limits<std::uint64_t>::max();
};

}  // namespace velmora::core::tessaryn
