// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/frame.h"

#include <cstddef>
#include <cstdint>

/// \file
/// Offsets of the header's fields, in bytes.

namespace velmora::exchange::layout {

inline constexpr char magic[] = {'V', 'T', 'f', '\x97'};
inline constexpr unsigned char frameVersion = 1;

inline constexpr std::size_t magicAt = 0;
inline constexpr std::size_t checksumAt = 4;
/// The checksum covers everything from here to the end.
inline constexpr std::size_t checkedFrom = 8;
inline constexpr std::size_t versionAt = 8;
inline constexpr std::size_t kindAt = 9;
inline constexpr std::size_t changeTypeAt = 10;
inline constexpr std::size_t reservedAt = 11;
inline constexpr std::size_t lengthAt = 12;
/// The inverted bits of the length protect it until the payload has arrived and the checksum can be
/// verified.
inline constexpr std::size_t invertedLengthAt = 16;
inline constexpr std::size_t channelAt = 20;
inline constexpr std::size_t fingerprintAt = 24;
inline constexpr std::size_t timeAt = 40;
inline constexpr std::size_t sequenceAt = 48;
static_assert(sequenceAt + sizeof(std::uint64_t) == frameHeaderSize);

/// The bytes of a payload with its padding.
constexpr std::size_t PaddedSize(std::size_t payload) {
    return (payload + frameAlignment - 1) / frameAlignment * frameAlignment;
}

/// CRC-32 as in zlib, gzip and Ethernet (polynomial 0x04C11DB7, reflected).
std::uint32_t Checksum(const char* bytes, std::size_t size);

}  // namespace velmora::exchange::layout
