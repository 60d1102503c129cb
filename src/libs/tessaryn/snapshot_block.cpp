// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/snapshot_block.h"

#include "serializer/serialization_exception.h"
#include "tessaryn/document_exception.h"
#include "tessaryn/value_traits.h"

#include <Poco/Checksum.h>

#include <algorithm>
#include <exception>
#include <istream>
#include <limits>
#include <ostream>

namespace velmora::core::tessaryn {

namespace {

constexpr std::size_t checksumOffset = 4;
constexpr std::size_t lengthOffset = 8;

// The checksum of a block, whose header has none yet.
std::uint32_t GetChecksum(std::string_view header, std::string_view content) {
    Poco::Checksum checksum(Poco::Checksum::TYPE_CRC32);
    const auto update = [&checksum](std::string_view bytes) {
        while (!bytes.empty()) {
            const auto length = static_cast<unsigned int>(
                std::min<std::size_t>(bytes.size(), std::numeric_limits<int>::max()));
            checksum.update(bytes.data(), length);
            bytes.remove_prefix(length);
        }
    };
    update(header.substr(0, checksumOffset));
    update(header.substr(lengthOffset));
    update(content);
    return checksum.checksum();
}

}  // namespace

void BlockWriter::AddNumber(std::uint64_t number) {
    constexpr std::uint64_t more = 0x80;
    while (number >= more) {
        AddByte(static_cast<unsigned char>(number | more));
        number >>= 7U;
    }
    AddByte(static_cast<unsigned char>(number));
}

void BlockWriter::End(BlockKind kind) {
    traits::Store(content.data(), static_cast<std::uint32_t>(kind));
    traits::Store(content.data() + lengthOffset, std::uint64_t{GetLength()});
    const std::string_view all(content);
    traits::Store(content.data() + checksumOffset,
                  GetChecksum(all.substr(0, blockHeaderLength), all.substr(blockHeaderLength)));
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!out) {
        throw serialization::SerializationException(
            "Cannot write the snapshot: the stream failed.");
    }
    content.resize(blockHeaderLength);
}

void BlockReader::Fail(const std::string& reason) const {
    const std::string place = "byte " + std::to_string(blockPosition);
    throw DocumentException(place, "The snapshot cannot be read at " + place + ": " + reason);
}

void BlockReader::ReadBytes(char* to, std::size_t length) {
    position += length;
    if (position > maxBytes) {
        Fail("It exceeds the limit of " + std::to_string(maxBytes) + " bytes.");
    }
    std::streamsize got = 0;
    try {
        got = in.rdbuf()->sgetn(to, static_cast<std::streamsize>(length));
    } catch (const std::exception& exception) {
        Fail(exception.what());
    }
    if (got != static_cast<std::streamsize>(length)) {
        Fail("It ends too early.");
    }
}

void BlockReader::Begin() {
    std::array<char, snapshotMagic.size() + sizeof(snapshotVersion)> begin{};
    if (!in) {
        Fail("The stream failed.");
    }
    ReadBytes(begin.data(), begin.size());
    if (std::string_view(begin.data(), snapshotMagic.size()) != snapshotMagic) {
        Fail("The bytes are no snapshot.");
    }
    const auto version = traits::Load<std::uint32_t>(begin.data() + snapshotMagic.size());
    if (version != snapshotVersion) {
        Fail("Its version is " + std::to_string(version) + ", this library reads version " +
             std::to_string(snapshotVersion) + ".");
    }
}

BlockKind BlockReader::Next() {
    if (!rest.empty()) {
        Fail("The block is longer than its content.");
    }
    blockPosition = position;
    std::array<char, blockHeaderLength> header{};
    ReadBytes(header.data(), header.size());
    const auto kind = traits::Load<std::uint32_t>(header.data());
    const auto length = traits::Load<std::uint64_t>(header.data() + lengthOffset);
    if (kind > static_cast<std::uint32_t>(BlockKind::Samples)) {
        Fail("Blocks of kind " + std::to_string(kind) + " are not known.");
    }
    if (length > maxBlockLength && length - maxBlockLength > maxSample) {
        Fail("A block of " + std::to_string(length) + " bytes is too long.");
    }
    // The length is not trusted: memory is allocated for received bytes only.
    content.clear();
    while (content.size() < length) {
        const std::size_t done = content.size();
        content.resize(static_cast<std::size_t>(
            std::min<std::uint64_t>(length, std::max(maxBlockLength, 2 * done))));
        ReadBytes(content.data() + done, content.size() - done);
    }
    if (GetChecksum({header.data(), header.size()}, content) !=
        traits::Load<std::uint32_t>(header.data() + checksumOffset)) {
        Fail("The checksum of the block is wrong.");
    }
    rest = content;
    return static_cast<BlockKind>(kind);
}

// A number whose first byte says that others follow.
std::uint64_t BlockReader::TakeLongNumber(std::uint64_t first) {
    std::uint64_t number = first & 0x7FU;
    for (unsigned shift = 7;; shift += 7) {
        const std::uint64_t byte = TakeByte();
        const std::uint64_t bits = byte & 0x7FU;
        if (shift > 63 || (bits << shift) >> shift != bits) {
            Fail("A number has more than 64 bits.");
        }
        number |= bits << shift;
        if (byte == bits) {
            return number;
        }
    }
}

}  // namespace velmora::core::tessaryn
