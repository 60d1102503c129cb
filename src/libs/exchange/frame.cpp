// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/frame.h"

#include "exchange/frame_layout.h"
#include "exchange/little_endian.h"

#include <algorithm>
#include <cstring>
#include <libdeflate.h>

namespace velmora::exchange {

namespace {

constexpr std::string_view magic(layout::magic, sizeof layout::magic);

FrameScan Invalid(const char* reason) {
    FrameScan scan;
    scan.reason = reason;
    return scan;
}

FrameScan Incomplete(std::size_t size) {
    FrameScan scan;
    scan.status = FrameScan::Status::incomplete;
    scan.size = size;
    return scan;
}

// Why a header is not valid in this version; null if it is.
const char* FindHeaderFault(std::string_view header) {
    const auto kind = static_cast<FrameKind>(header[layout::kindAt]);
    const auto changeType = static_cast<unsigned char>(header[layout::changeTypeAt]);
    if (bytes::Load<unsigned char>(header, layout::versionAt) != layout::frameVersion) {
        return "unknown version of the frame format";
    }
    if (kind != FrameKind::type && kind != FrameKind::sample) {
        return "unknown kind of frame";
    }
    if (changeType > core::tessaryn::changed) {
        return "unknown kind of change";
    }
    if (header[layout::reservedAt] != 0) {
        return "the reserved byte is not zero";
    }
    if (bytes::Load<std::uint32_t>(header, layout::lengthAt) !=
        ~bytes::Load<std::uint32_t>(header, layout::invertedLengthAt)) {
        return "damaged length";
    }
    return nullptr;
}

FrameHeader ReadHeader(std::string_view block) {
    FrameHeader header;
    header.kind = static_cast<FrameKind>(block[layout::kindAt]);
    header.changeType = static_cast<core::tessaryn::StreamChangeType>(block[layout::changeTypeAt]);
    header.channel = bytes::Load<std::uint32_t>(block, layout::channelAt);
    header.fingerprint = bytes::Load<Fingerprint>(block, layout::fingerprintAt);
    header.time = bytes::Load<Poco::Timestamp::TimeVal>(block, layout::timeAt);
    header.sequence = bytes::Load<std::uint64_t>(block, layout::sequenceAt);
    return header;
}

}  // namespace

std::uint32_t layout::Checksum(const char* bytes, std::size_t size) {
    return libdeflate_crc32(0, bytes, size);
}

FrameScan ScanFrame(std::string_view block, std::size_t maxPayload) {
    if (block.substr(0, magic.size()) != magic.substr(0, std::min(block.size(), magic.size()))) {
        return Invalid("no magic");
    }
    if (block.size() < frameHeaderSize) {
        return Incomplete(frameHeaderSize);
    }
    if (const char* const fault = FindHeaderFault(block)) {
        return Invalid(fault);
    }
    const std::size_t length = bytes::Load<std::uint32_t>(block, layout::lengthAt);
    if (length > maxPayload) {
        return Invalid("payload above the limit");
    }
    const std::size_t size = frameHeaderSize + layout::PaddedSize(length);
    if (block.size() < size) {
        return Incomplete(size);
    }
    if (layout::Checksum(block.data() + layout::checkedFrom, size - layout::checkedFrom) !=
        bytes::Load<std::uint32_t>(block, layout::checksumAt)) {
        FrameScan scan = Invalid("wrong checksum");
        scan.size = size;
        return scan;
    }
    return {FrameScan::Status::complete,
            size,
            {ReadHeader(block), block.substr(frameHeaderSize, length)},
            ""};
}

std::size_t FindFrame(std::string_view block, std::size_t from) {
    const std::size_t found = block.find(magic, from);
    if (found != std::string_view::npos) {
        return found;
    }
    std::size_t tail =
        block.size() - std::min(block.size() - std::min(from, block.size()), magic.size() - 1);
    while (tail < block.size() && !magic.starts_with(block.substr(tail))) {
        ++tail;
    }
    return tail;
}

}  // namespace velmora::exchange
