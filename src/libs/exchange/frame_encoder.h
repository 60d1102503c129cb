// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/export.h"
#include "exchange/frame.h"
#include "tessaryn/sample.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace velmora::exchange {

/// The header fields that the writer chooses for a sample.
struct SampleInfo {
    core::tessaryn::StreamChangeType changeType = core::tessaryn::pushed;
    std::uint32_t channel = 0;   ///< identifies the stream if a connection carries several
    std::uint64_t sequence = 0;  ///< the sample's number in its stream
};

/// Makes frames in a buffer, which it reuses.
///
/// A sample of the same type as the previous one needs no look-up.
///
/// \threadsafety external
class EXCHANGE_API FrameEncoder {
  public:
    FrameEncoder();
    FrameEncoder(const FrameEncoder&) = delete;
    FrameEncoder& operator=(const FrameEncoder&) = delete;
    ~FrameEncoder();

    /// The frame of a sample, with the sample's time.
    /// \return \ownership lends: until the next call
    /// \throws std::invalid_argument when the sample has no stream type
    /// \throws std::length_error when the sample takes more than 4 GiB
    std::string_view Encode(const core::tessaryn::Sample& sample, const SampleInfo& info);

    /// The frame of a type's description.
    /// \return \ownership lends: until the next call
    /// \throws std::length_error when the description takes more than 4 GiB
    std::string_view EncodeType(const core::tessaryn::StreamType& type);

    /// The fingerprint of a type, cached while the type is that of the previous call and has not
    /// changed.
    const Fingerprint& GetFingerprint(const core::tessaryn::StreamType& type);

  private:
    class Buffer;

    std::string_view Finish(const FrameHeader& header);

    std::unique_ptr<Buffer> buffer;
    std::uint64_t layoutNumber = 0;
    Fingerprint fingerprint;
};

}  // namespace velmora::exchange
