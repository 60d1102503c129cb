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
/// Frames begin at multiples of this, counted from the first one, so that numbers in them are
/// aligned.
inline constexpr std::size_t frameAlignment = 8;

/// The kind of a frame's payload.
enum class FrameKind : unsigned char {
    type = 1,   ///< the description of a stream type
    sample = 2  ///< the binary form of a sample
};

/// The header of a frame.
struct FrameHeader {
    FrameKind kind = FrameKind::sample;
    /// What happened to the stream; `pushed` for descriptions.
    core::tessaryn::StreamChangeType changeType = core::tessaryn::pushed;
    /// Identifies the stream if a connection carries several; the writer chooses the numbers.
    std::uint32_t channel = 0;
    /// The described layout, or that of the sample.
    Fingerprint fingerprint;
    /// The sample's time: microseconds since the Unix epoch, UTC; 0 for descriptions.
    Poco::Timestamp::TimeVal time = 0;
    /// The sample's number in its stream, counted by the writer; 0 for descriptions.
    std::uint64_t sequence = 0;
};

/// A frame that has passed the checks.
struct Frame {
    FrameHeader header;
    /// Without the padding. \ownership lends: a part of the scanned bytes
    std::string_view payload;
};

/// The result of scanning the beginning of a block of bytes.
struct FrameScan {
    enum class Status {
        complete,    ///< a frame
        incomplete,  ///< possibly a frame, but bytes are missing
        invalid      ///< no frame; `reason` says why
    };
    Status status = Status::invalid;
    /// `complete`: bytes of the frame, with its padding; `incomplete`: bytes of the block that are
    /// needed to continue; `invalid`: bytes covered by a checksum that did not match, or 0.
    std::size_t size = 0;
    Frame frame;
    /// \ownership lends: a literal
    const char* reason = "";
};

/// Checks whether a block of bytes begins with a frame: magic, version of the format, kind, length
/// and checksum. The payload's content is not examined.
///
/// Allocates nothing. Computes the checksum if all bytes are present.
/// \param maxPayload longer payloads are invalid, so that a header cannot demand more memory
/// \threadsafety immutable
EXCHANGE_API FrameScan ScanFrame(std::string_view bytes, std::size_t maxPayload);

/// The position of the first magic at or after `from`, where the next frame can begin, or of bytes
/// at the end that may become one; the number of bytes if there is neither.
/// \threadsafety immutable
EXCHANGE_API std::size_t FindFrame(std::string_view bytes, std::size_t from);

}  // namespace velmora::exchange
