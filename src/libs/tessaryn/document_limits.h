// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <cstdint>
#include <limits>

namespace velmora::core::tessaryn {

/// Limits for documents that are not trusted.
struct DocumentLimits {
    /// Bytes of memory for the samples of one call. A short document can demand a lot of memory,
    /// since a sample takes its type's initial sizes.
    std::uint64_t maxSampleMemory = std::numeric_limits<std::uint64_t>::max();
};

}  // namespace velmora::core::tessaryn
