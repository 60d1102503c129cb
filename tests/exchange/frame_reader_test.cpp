// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/frame_reader.h"

#include "exchange/frame_layout.h"
#include "exchange/frame_writer.h"
#include "exchange/little_endian.h"
#include "exchange/signed_frame.h"
#include "support/random.h"
#include "support/samples.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <sstream>
#include <string>
#include <vector>

namespace velmora::exchange {
namespace {

using namespace core::tessaryn;
using Result = FrameReader::Result;
using test::TestType;

class FrameReaderTest : public testing::Test {
  protected:
    Sample MakeSample(int value) {
        Sample sample(&tank.type, Poco::Timestamp(0));
        sample.Set(0, 0, value);
        sample.Set(1, std::string(static_cast<std::size_t>(value % 20), 'x'));
        return Restamped(std::move(sample), Poco::Timestamp(value));
    }

    // The sequence numbers of the samples read from these bytes.
    std::vector<std::uint64_t> Read(const std::string& bytes, const ReaderLimits& limits = {}) {
        std::istringstream in(bytes);
        FrameReader reader(in, layouts, limits);
        std::vector<std::uint64_t> sequences;
        for (Result result = reader.Read(); result != Result::end; result = reader.Read()) {
            if (result == Result::sample) {
                const std::uint64_t sequence = reader.GetFrame().header.sequence;
                const Sample expected = MakeSample(static_cast<int>(sequence));
                EXPECT_EQ(test::BinaryOf(reader.GetSample()), test::BinaryOf(expected));
                EXPECT_EQ(reader.GetSample().GetTimeStamp(), expected.GetTimeStamp());
                sequences.push_back(sequence);
            }
        }
        statistics = reader.GetStatistics();
        return sequences;
    }

    std::vector<std::string> Frames(int count) {
        std::vector<std::string> frames;
        FrameEncoder encoder;
        for (int i = 0; i < count; ++i) {
            frames.emplace_back(
                encoder.Encode(MakeSample(i), {pushed, 0, static_cast<std::uint64_t>(i)}));
        }
        return frames;
    }

    TestType tank{{{"level", Int32, 1}, {"note", String, 0}}, "Tank"};
    LayoutRegistry layouts;
    ReaderStatistics statistics;
};

TEST_F(FrameReaderTest, ReadsSamplesWithOneDescriptionForEachLayout) {
    TestType other({{"level", Double, 1}}, "Other");
    std::ostringstream out;
    FrameWriter writer(out);
    writer.Write(MakeSample(0), {pushed, 1, 0});
    writer.Write(Sample(&other.type, Poco::Timestamp()), {popped, 2, 0});
    writer.Write(MakeSample(1), {changed, 1, 1});
    writer.ForgetTypes();
    writer.Write(MakeSample(2), {pushed, 1, 2});
    std::istringstream in(out.str());
    FrameReader reader(in, layouts);
    std::vector<Result> results;
    std::vector<std::uint32_t> channels;
    do {
        results.push_back(reader.Read());
        if (results.back() == Result::sample) {
            channels.push_back(reader.GetFrame().header.channel);
            // A host may move the sample.
            const Sample taken = std::move(reader.GetSample());
            EXPECT_NE(taken.GetStreamType(), nullptr);
        }
    } while (results.back() != Result::end);
    EXPECT_THAT(results,
                testing::ElementsAre(Result::type, Result::sample, Result::type, Result::sample,
                                     Result::sample, Result::type, Result::sample, Result::end));
    EXPECT_THAT(channels, testing::ElementsAre(1, 2, 1, 1));
    EXPECT_EQ(reader.GetStatistics().skippedBytes, 0U);
    EXPECT_EQ(out.str().size() % frameAlignment, 0U);
}

TEST_F(FrameReaderTest, SkipsAndCountsSamplesOfUnknownLayouts) {
    const std::vector<std::string> frames = Frames(2);
    EXPECT_THAT(Read(frames[0] + frames[1]), testing::IsEmpty());
    EXPECT_EQ(statistics.unknown, 2U);
    layouts.Add(tank.type);
    EXPECT_THAT(Read(frames[0] + frames[1]), testing::ElementsAre(0, 1));
}

TEST_F(FrameReaderTest, FindsTheNextFrameAfterDamage) {
    layouts.Add(tank.type);
    const std::vector<std::string> frames = Frames(4);
    test::Random random;
    for (int round = 0; round < 2000; ++round) {
        std::string damaged = frames[1];
        const std::size_t position = random.Below(static_cast<unsigned>(damaged.size()));
        switch (random.Below(4)) {
            case 0:
                damaged[position] = static_cast<char>(damaged[position] + 1);
                break;
            case 1:
                damaged.erase(position, 1 + random.Below(8));
                break;
            case 2:
                damaged.insert(position, frames[3].substr(0, 1 + random.Below(60)));
                break;
            default:
                damaged.resize(position);
                break;
        }
        const std::vector<std::uint64_t> sequences = Read(frames[0] + damaged + frames[2]);
        // Three samples: the bytes were inserted behind the last byte, so the frame is intact.
        ASSERT_THAT(sequences,
                    testing::AnyOf(testing::ElementsAre(0, 2), testing::ElementsAre(0, 1, 2)))
            << round;
        ASSERT_EQ(statistics.skippedBytes,
                  damaged.size() - (sequences.size() == 3 ? frames[1].size() : 0));
    }
}

TEST_F(FrameReaderTest, ReturnsNothingFromATruncatedFrame) {
    layouts.Add(tank.type);
    const std::vector<std::string> frames = Frames(2);
    for (std::size_t size = 0; size < frames[1].size(); ++size) {
        ASSERT_THAT(Read(frames[0] + frames[1].substr(0, size)), testing::ElementsAre(0));
        ASSERT_EQ(statistics.skippedBytes, size);
    }
}

TEST_F(FrameReaderTest, RefusesAPayloadThatDoesNotMatchTheHeader) {
    layouts.Add(tank.type);
    std::vector<std::string> frames = Frames(3);
    std::string& wrong = frames[1];
    bytes::Store(wrong.data() + frameHeaderSize + 4, 3U);
    test::Sign(wrong);
    EXPECT_THAT(Read(frames[0] + wrong + frames[2]), testing::ElementsAre(0, 2));
    EXPECT_EQ(statistics.refused, 1U);
    EXPECT_EQ(statistics.skippedBytes, 0U);
    EXPECT_THAT(Read(frames[2], {1U << 20U, {8, 8}}), testing::IsEmpty());
    EXPECT_EQ(statistics.refused, 1U);
}

// A stream buffer that counts the bytes read from it.
class CountingBuffer : public std::stringbuf {
  public:
    using std::stringbuf::stringbuf;
    std::size_t taken = 0;

  private:
    std::streamsize xsgetn(char* to, std::streamsize count) override {
        const std::streamsize got = std::stringbuf::xsgetn(to, count);
        taken += static_cast<std::size_t>(got);
        return got;
    }
};

TEST_F(FrameReaderTest, ReadsNoByteBeyondTheCurrentFrame) {
    layouts.Add(tank.type);
    const std::vector<std::string> frames = Frames(3);
    CountingBuffer buffer(frames[0] + frames[1] + frames[2]);
    std::istream in(&buffer);
    FrameReader reader(in, layouts);
    std::size_t size = 0;
    for (const std::string& frame : frames) {
        ASSERT_EQ(reader.Read(), Result::sample);
        size += frame.size();
        EXPECT_EQ(buffer.taken, size);
    }
}

TEST_F(FrameReaderTest, ChecksNestedDamagedFramesInLinearWork) {
    // Each header claims all following bytes, with a wrong checksum.
    std::string nested;
    constexpr std::size_t count = 7000;
    std::string header = Frames(1)[0].substr(0, frameHeaderSize);
    for (std::size_t i = 1; i <= count; ++i) {
        bytes::Store(header.data() + layout::lengthAt,
                     static_cast<std::uint32_t>((count - i) * frameHeaderSize));
        bytes::Store(header.data() + layout::invertedLengthAt,
                     ~static_cast<std::uint32_t>((count - i) * frameHeaderSize));
        nested += header;
    }
    EXPECT_THAT(Read(nested), testing::IsEmpty());
    EXPECT_EQ(statistics.skippedBytes, nested.size());
    EXPECT_LE(statistics.damagedBytes, 5 * nested.size());
}

}  // namespace
}  // namespace velmora::exchange
