// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/export.h"
#include "exchange/fingerprint.h"
#include "tessaryn/subscription_args.h"

#include <Poco/Timestamp.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace velmora::exchange {

/// Bytes before the payload of a frame.
inline constexpr std::size_t frameHeaderSize = 56;
/// Frames begin at multiples of this, counted from the first one, so that what lies in them can be
/// read in place.
inline constexpr std::size_t frameAlignment = 8;

/// What the payload of a frame is.
enum class FrameKind : unsigned char {
    type = 1,   ///< the description of a stream type
    sample = 2  ///< the binary form of a sample
};

/// What a frame says beside its payload.
struct FrameHeader {
    FrameKind kind = FrameKind::sample;
    /// What happened to the stream; `pushed` for descriptions.
    core::tessaryn::StreamChangeType changeType = core::tessaryn::pushed;
    /// Which stream, where a connection carries several: numbers that the writer chooses.
    std::uint32_t channel = 0;
    /// The layout described, or that of the sample.
    Fingerprint fingerprint;
    /// The sample's time: microseconds since the Unix epoch, UTC; 0 for descriptions.
    Poco::Timestamp::TimeVal time = 0;
    /// The sample's number in its stream, as the writer counts; 0 for descriptions.
    std::uint64_t sequence = 0;
};

/// A frame whose checks have passed.
struct Frame {
    FrameHeader header;
    /// Without the padding. \ownership lends: a part of the bytes that were looked at
    std::string_view payload;
};

/// What a block of bytes begins with.
struct FrameScan {
    enum class Status {
        complete,    ///< a frame
        incomplete,  ///< perhaps a frame of which bytes are missing
        invalid      ///< no frame; `reason` says why
    };
    Status status = Status::invalid;
    /// `complete`: bytes of the frame, padding included; `incomplete`: bytes needed to go on, from
    /// the beginning of the block; `invalid`: bytes whose checksum was computed in vain, or 0.
    std::size_t size = 0;
    Frame frame;
    /// \ownership lends: a literal
    const char* reason = "";
};

/// Looks for a frame at the beginning of a block of bytes, and checks it: magic, version of the
/// format, kind, length and checksum. The payload's content is not looked at.
///
/// Allocates nothing. Costs the checksum, if all bytes are there.
/// \param maxPayload payloads above are invalid, so that no header asks for more
/// \threadsafety immutable
EXCHANGE_API FrameScan ScanFrame(std::string_view bytes, std::size_t maxPayload);

/// Where the next frame can begin: the position of the first magic at or after `from`, or of bytes
/// at the end that may become one; the number of bytes if there is neither.
/// \threadsafety immutable
EXCHANGE_API std::size_t FindFrame(std::string_view bytes, std::size_t from);

}  // namespace velmora::exchange
