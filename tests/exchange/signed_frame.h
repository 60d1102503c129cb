// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/frame_layout.h"
#include "exchange/little_endian.h"

#include <Poco/Checksum.h>

#include <cstdint>
#include <string>

namespace velmora::test {

/// Corrects the lengths and the checksum of a changed frame.
inline void Sign(std::string& frame) {
    namespace layout = exchange::layout;
    const auto length = exchange::bytes::Load<std::uint32_t>(frame, layout::lengthAt);
    exchange::bytes::Store(frame.data() + layout::invertedLengthAt, ~length);
    Poco::Checksum sum(Poco::Checksum::TYPE_CRC32);
    sum.update(frame.substr(layout::checkedFrom));
    exchange::bytes::Store(frame.data() + layout::checksumAt, sum.checksum());
}

}  // namespace velmora::test
