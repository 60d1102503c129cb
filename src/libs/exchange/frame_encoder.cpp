// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/frame_encoder.h"

#include "exchange/frame_layout.h"
#include "exchange/little_endian.h"
#include "exchange/type_description.h"
#include "tessaryn/stream_type.h"

#include <cstring>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <vector>

namespace velmora::exchange {

namespace {

// Two adjacent numbers.
void StorePair(char* destination, std::uint32_t first, std::uint32_t second) {
    bytes::Store(destination, first | std::uint64_t{second} << 32U);
}

}  // namespace

// The frame under construction, to which samples write themselves.
class FrameEncoder::Buffer : private std::streambuf {
  public:
    Buffer() : stream(this) {}

    // Begins a frame: leaves room for its header.
    std::ostream& Begin() {
        size = frameHeaderSize;
        return stream;
    }

    void Append(const char* source, std::size_t count) {
        if (bytes.size() < size + count + frameAlignment) {
            bytes.resize(2 * size + count + frameAlignment);
        }
        std::memcpy(bytes.data() + size, source, count);
        size += count;
    }

    std::vector<char> bytes;
    std::size_t size = 0;

  private:
    std::streamsize xsputn(const char* source, std::streamsize count) override {
        Append(source, static_cast<std::size_t>(count));
        return count;
    }

    int_type overflow(int_type character) override {
        if (!traits_type::eq_int_type(character, traits_type::eof())) {
            const char byte = traits_type::to_char_type(character);
            Append(&byte, 1);
        }
        return traits_type::not_eof(character);
    }

    std::ostream stream;
};

FrameEncoder::FrameEncoder() : buffer(std::make_unique<Buffer>()) {}

FrameEncoder::~FrameEncoder() = default;

std::string_view FrameEncoder::Encode(const core::tessaryn::Sample& sample,
                                      const SampleInfo& info) {
    const core::tessaryn::StreamType* const type = sample.GetStreamType();
    if (type == nullptr) {
        throw std::invalid_argument("A sample without a stream type has no frame.");
    }
    FrameHeader header;
    header.changeType = info.changeType;
    header.channel = info.channel;
    header.fingerprint = GetFingerprint(*type);
    header.time = sample.GetTimeStamp().epochMicroseconds();
    header.sequence = info.sequence;
    sample.Serialize(buffer->Begin());
    return Finish(header);
}

std::string_view FrameEncoder::EncodeType(const core::tessaryn::StreamType& type) {
    FrameHeader header;
    header.kind = FrameKind::type;
    header.fingerprint = GetFingerprint(type);
    const std::string description = DescribeType(type);
    buffer->Begin();
    buffer->Append(description.data(), description.size());
    return Finish(header);
}

const Fingerprint& FrameEncoder::GetFingerprint(const core::tessaryn::StreamType& type) {
    if (type.GetLayoutNumber() != layoutNumber) {
        fingerprint = FingerprintOf(type);
        layoutNumber = type.GetLayoutNumber();
    }
    return fingerprint;
}

std::string_view FrameEncoder::Finish(const FrameHeader& header) {
    const std::size_t payload = buffer->size - frameHeaderSize;
    if (payload > std::numeric_limits<std::uint32_t>::max()) {
        throw std::length_error("The payload of a frame takes more than 4 GiB.");
    }
    const std::size_t size = frameHeaderSize + layout::PaddedSize(payload);
    buffer->Append("\0\0\0\0\0\0\0", size - buffer->size);
    char* const start = buffer->bytes.data();
    std::memcpy(start + layout::magicAt, layout::magic, sizeof layout::magic);
    // Written in words, as the checksum reads them: a load that spans several smaller stores is
    // slow.
    const std::uint32_t kinds = layout::frameVersion |
                                static_cast<std::uint32_t>(header.kind) << 8U |
                                std::uint32_t{header.changeType} << 16U;
    const auto length = static_cast<std::uint32_t>(payload);
    StorePair(start + layout::versionAt, kinds, length);
    StorePair(start + layout::invertedLengthAt, ~length, header.channel);
    bytes::Store(start + layout::fingerprintAt, header.fingerprint);
    bytes::Store(start + layout::timeAt, header.time);
    bytes::Store(start + layout::sequenceAt, header.sequence);
    bytes::Store(start + layout::checksumAt,
                 layout::Checksum(start + layout::checkedFrom, size - layout::checkedFrom));
    return {start, size};
}

}  // namespace velmora::exchange
