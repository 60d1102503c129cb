// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/frame_encoder.h"
#include "exchange/frame_reader.h"
#include "exchange/signed_frame.h"
#include "fuzz/fuzz.h"
#include "support/samples.h"

#include <Poco/Checksum.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace velmora::test {

namespace {

using namespace exchange;
using core::tessaryn::Sample;

constexpr std::size_t maxPayload = 2000;

TestType& Tank() {
    static TestType type({{"a", core::tessaryn::Int32, 2}, {"s", core::tessaryn::String, 0}});
    return type;
}

std::uint64_t NumberAt(std::string_view bytes, std::size_t position, std::size_t width) {
    std::uint64_t number = 0;
    for (std::size_t i = width; i > 0; --i) {
        number = number << 8U | static_cast<unsigned char>(bytes[position + i - 1]);
    }
    return number;
}

std::uint64_t ChecksumOf(std::string_view bytes) {
    Poco::Checksum sum(Poco::Checksum::TYPE_CRC32);
    sum.update(std::string(bytes));
    return sum.checksum();
}

// The bytes of the frame at the beginning of a block; 0 if there is none.
std::size_t FrameSize(std::string_view block) {
    if (block.size() < 56 || block.substr(0, 4) != "VTf\x97" || NumberAt(block, 8, 1) != 1 ||
        NumberAt(block, 9, 1) - 1 > 1 || NumberAt(block, 10, 1) > 2 || block[11] != 0 ||
        NumberAt(block, 12, 4) + NumberAt(block, 16, 4) != 0xFFFFFFFF) {
        return 0;
    }
    const std::uint64_t length = NumberAt(block, 12, 4);
    const std::uint64_t size = 56 + (length + 7) / 8 * 8;
    if (length > maxPayload || size > block.size() ||
        NumberAt(block, 4, 4) != ChecksumOf(block.substr(8, size - 8))) {
        return 0;
    }
    return size;
}

// A frame that is right, or whose payload is what the fuzzer says.
std::string MakeFrame(ByteChoices& choices) {
    FrameEncoder encoder;
    Sample sample(&Tank().type, Poco::Timestamp(choices.Below(256)));
    sample.Set(1, std::string(choices.Below(30), 's'));
    std::string frame(choices.Below(4) == 0 ? encoder.EncodeType(Tank().type)
                                            : encoder.Encode(sample, {}));
    if (choices.Below(2) == 0) {
        const std::string_view payload = choices.Take(choices.Below(80));
        frame.resize(frameHeaderSize);
        frame += payload;
        frame.resize(frameHeaderSize + layout::PaddedSize(payload.size()));
        bytes::Store(frame.data() + layout::lengthAt, static_cast<std::uint32_t>(payload.size()));
        Sign(frame);
    }
    return frame;
}

std::string MakeStream(ByteChoices& choices) {
    std::string stream;
    while (!choices.Done()) {
        std::string part = choices.Below(3) == 0 ? std::string(choices.Take(choices.Below(60)))
                                                 : MakeFrame(choices);
        if (choices.Below(4) == 0 && !part.empty()) {
            part.erase(choices.Below(255) % part.size(), choices.Below(9));
        }
        stream += part;
    }
    return stream;
}

}  // namespace

// A stream of frames and of other bytes, in parts damaged. The reader finds the frames that a
// second one finds, which tries each byte, and each sample is the payload of its frame.
void Fuzz(std::string_view input) {
    ByteChoices choices(input);
    const std::string stream = MakeStream(choices);
    std::vector<std::string_view> expected;
    for (std::size_t position = 0; position < stream.size();) {
        const std::string_view rest = std::string_view(stream).substr(position);
        const std::size_t size = FrameSize(rest);
        if (size != 0) {
            expected.push_back(rest.substr(56, NumberAt(rest, 12, 4)));
        }
        position += size == 0 ? 1 : size;
    }
    std::istringstream in(stream);
    LayoutRegistry layouts({1000, 1000}, 4);
    FrameReader reader(in, layouts, {maxPayload, {}});
    std::vector<std::string> found;
    for (auto result = reader.Read(); result != FrameReader::Result::end; result = reader.Read()) {
        found.emplace_back(reader.GetFrame().payload);
        if (result == FrameReader::Result::sample) {
            ASSERT_EQ(BinaryOf(reader.GetSample()), found.back());
        }
    }
    const ReaderStatistics& statistics = reader.GetStatistics();
    ASSERT_LE(statistics.damagedBytes, 5 * stream.size() + maxPayload + frameHeaderSize);
    // Beyond, a damaged frame is not searched for others.
    if (statistics.damagedBytes < stream.size()) {
        ASSERT_TRUE(std::equal(found.begin(), found.end(), expected.begin(), expected.end()));
    }
}

}  // namespace velmora::test
