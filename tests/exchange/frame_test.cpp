// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/frame.h"

#include "exchange/frame_encoder.h"
#include "exchange/frame_layout.h"
#include "exchange/signed_frame.h"
#include "support/random.h"
#include "support/samples.h"

#include <Poco/RegularExpression.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace velmora::exchange {
namespace {

using core::tessaryn::Sample;
using core::tessaryn::StreamType;

constexpr std::size_t noLimit = 1U << 30U;

test::TestType& Tank() {
    static test::TestType type(
        {{"level", core::tessaryn::Int32, 2}, {"note", core::tessaryn::String, 0}}, "Tank");
    return type;
}

std::string EncodedSample() {
    Sample sample(&Tank().type, Poco::Timestamp(0));
    sample.Set(0, 0, 1);
    sample.Set(0, 1, -1);
    sample.Set(1, "abc");
    FrameEncoder encoder;
    return std::string(encoder.Encode(Restamped(sample, Poco::Timestamp(-1000000)),
                                      {core::tessaryn::changed, 7, 300}));
}

// The bytes of the page's example: at the beginning of each line, up to four blanks.
std::string ReadPage() {
    std::ifstream page(EXCHANGE_PAGE);
    const Poco::RegularExpression line("^((?:[0-9A-F]{2} ){1,16})   ");
    std::string bytes;
    std::string text;
    for (std::vector<std::string> match; std::getline(page, text); match.clear()) {
        if (line.split(text, match) != 0) {
            for (std::istringstream digits(match[1]); digits >> text;) {
                bytes += static_cast<char>(std::stoi(text, nullptr, 16));
            }
        }
    }
    return bytes;
}

TEST(Frame, HasTheBytesThatItsPageShows) {
    FrameEncoder encoder;
    EXPECT_EQ(std::string(encoder.EncodeType(Tank().type)) + EncodedSample(), ReadPage());
}

TEST(Frame, IsReadBackAlsoByteByByte) {
    const std::string bytes = EncodedSample() + "more";
    std::size_t needed = 0;
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        const FrameScan scan = ScanFrame(bytes.substr(0, size), noLimit);
        if (size < bytes.size() - 4) {
            ASSERT_EQ(scan.status, FrameScan::Status::incomplete) << size;
            ASSERT_GT(scan.size, size);
            needed = scan.size;
            continue;
        }
        ASSERT_EQ(scan.status, FrameScan::Status::complete) << size;
        EXPECT_EQ(scan.size, needed);
        EXPECT_EQ(scan.frame.header.changeType, core::tessaryn::changed);
        EXPECT_EQ(scan.frame.header.channel, 7U);
        EXPECT_EQ(scan.frame.header.sequence, 300U);
        EXPECT_EQ(scan.frame.header.time, -1000000);
        EXPECT_EQ(scan.frame.header.fingerprint, FingerprintOf(Tank().type));
        EXPECT_EQ(scan.frame.payload.size(), 23U);
    }
}

TEST(Frame, IsRefusedForUnknownValuesEvenWithCorrectChecksums) {
    struct Row {
        std::size_t position;
        char value;
        const char* reason;
    };
    const Row rows[] = {
        {layout::magicAt, 'X', "no magic"},
        {layout::versionAt, 2, "unknown version of the frame format"},
        {layout::kindAt, 0, "unknown kind of frame"},
        {layout::kindAt, 3, "unknown kind of frame"},
        {layout::changeTypeAt, 3, "unknown kind of change"},
        {layout::reservedAt, 1, "the reserved byte is not zero"},
        {layout::lengthAt + 3, 64, "payload above the limit"},
    };
    for (const Row& row : rows) {
        std::string frame = EncodedSample();
        frame[row.position] = row.value;
        test::Sign(frame);
        const FrameScan scan = ScanFrame(frame, noLimit);
        EXPECT_EQ(scan.status, FrameScan::Status::invalid) << row.reason;
        EXPECT_STREQ(scan.reason, row.reason);
    }
    std::string frame = EncodedSample();
    frame[layout::lengthAt] ^= 1;
    EXPECT_STREQ(ScanFrame(frame, noLimit).reason, "damaged length");
    frame[layout::lengthAt] ^= 1;
    frame[layout::sequenceAt] ^= 1;
    EXPECT_STREQ(ScanFrame(frame, noLimit).reason, "wrong checksum");
}

TEST(Frame, IsNeverAcceptedWithFlippedBits) {
    test::Random random;
    const std::string frame = EncodedSample();
    std::string damaged = frame;
    for (int i = 0; i < 1000000; ++i) {
        const unsigned flips = 1 + random.Below(6);
        for (unsigned flip = 0; flip < flips; ++flip) {
            const unsigned bit = random.Below(static_cast<unsigned>(8 * frame.size()));
            damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1U << (bit % 8)));
        }
        if (damaged != frame) {
            ASSERT_NE(ScanFrame(damaged, noLimit).status, FrameScan::Status::complete) << i;
        }
        damaged = frame;
    }
}

}  // namespace
}  // namespace velmora::exchange
