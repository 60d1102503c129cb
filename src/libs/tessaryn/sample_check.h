// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace velmora::core::tessaryn {

class StreamType;

/// Limits for bytes of a peer that is not trusted.
struct SampleLimits {
    /// Bytes of the whole binary form.
    std::size_t maxBytes = std::size_t{1} << 20;
    /// Elements of one entry: characters of a `String`.
    unsigned int maxElements = 1U << 16;
};

/// Checks whether a block of bytes is the binary form of one sample of a stream type, before any
/// sample is touched: the offsets begin at 0 and ascend, each entry's bytes divide by the width of
/// its elements, and the elements end where the bytes do.
///
/// `Sample::Deserialize`, and the pushes that use it, refuse nothing. Read bytes of a peer that may
/// be faulty or malicious into a block of limited length, check that, and deserialize from memory.
/// Linear in the number of entries; allocates only for the message.
/// \return empty for a valid sample; else a sentence with the mistake and its position
/// \threadsafety external: the type must not change meanwhile
TESSARYN_API std::string CheckSample(std::string_view bytes, const StreamType& type,
                                     const SampleLimits& limits = {});

}  // namespace velmora::core::tessaryn
