// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/snapshot.h"

#include "support/thrown.h"
#include "tessaryn/snapshot_block.h"

#include <Poco/Logger.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <sstream>
#include <string>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

Document MakeLog(int count, std::size_t textLength = 0) {
    Document document{std::make_unique<StreamTypeRepository>(Poco::Logger::root(), '/'),
                      std::make_unique<StreamRepository>(Poco::Logger::root(), '/')};
    StreamType& type = document.types->Add("Log")->PushNew({1, 0, 0});
    type.Add("level", Double, 1).Add("text", String, 12);
    Stream& stream = *document.streams->AddStream("g/log", &type, count + 1);
    for (int i = 0; i < count; ++i) {
        Sample sample(&type, 0);
        sample.Set(0, 0, 20.0 + i);
        sample.Set(1, "label " + std::to_string(100'000 + i) + std::string(textLength, '.'));
        stream.PushNew(new Sample(Restamped(sample, Poco::Timestamp(1700000000000000LL + i))));
    }
    return document;
}

std::string WrittenBy(void (*write)(const StreamTypeRepository&, const StreamRepository&,
                                    std::ostream&),
                      const Document& document) {
    std::ostringstream out;
    write(*document.types, *document.streams, out);
    return out.str();
}

std::string Refusal(const std::string& bytes, const DocumentLimits& limits = {}) {
    std::istringstream in(bytes);
    return MessageOf<DocumentException>([&] { ReadSnapshot(in, {}, limits); });
}

TEST(Snapshots, AreATenthOfXmlAndMayBeFollowedByOtherBytes) {
    const Document log = MakeLog(1'000);
    const std::string bytes = WrittenBy(WriteSnapshot, log);
    EXPECT_LE(10 * bytes.size(), WrittenBy(WriteXmlDocument, log).size());
    std::istringstream in(bytes + "next");
    const Document read = ReadSnapshot(in);
    EXPECT_EQ(WrittenBy(WriteXmlDocument, read), WrittenBy(WriteXmlDocument, log));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "next");
}

TEST(Snapshots, HaveBlocksOfLimitedLength) {
    // Two samples end a block.
    const Document log = MakeLog(5, 600'000);
    const std::string bytes = WrittenBy(WriteSnapshot, log);
    std::istringstream in(bytes);
    EXPECT_EQ(WrittenBy(WriteSnapshot, ReadSnapshot(in)), bytes);
    BlockReader blocks(in, bytes.size(), 200'000);
    in.seekg(0);
    blocks.Begin();
    int sampleBlocks = 0;
    for (BlockKind kind = blocks.Next(); kind != BlockKind::End; kind = blocks.Next()) {
        sampleBlocks += kind == BlockKind::Samples ? 1 : 0;
        blocks.TakeRest();
    }
    EXPECT_EQ(sampleBlocks, 3);
}

// Each stream has its own sizes and more or fewer samples than are pushed together.
TEST(Snapshots, KeepSamplesOfAllSizesInTheirOrder) {
    Document log{std::make_unique<StreamTypeRepository>(Poco::Logger::root(), '/'),
                 std::make_unique<StreamRepository>(Poco::Logger::root(), '/')};
    StreamType& type = log.types->Add("Log")->PushNew({1, 0, 0});
    type.Add("level", Double, 2).Add("text", String, 3).Add("note", String, 0);
    for (const int count : {1, 2, 63, 64, 65, 128, 200}) {
        Stream& stream = *log.streams->AddStream("s" + std::to_string(count), &type, count);
        for (int i = 0; i < count + count / 2; ++i) {
            Sample sample(&type, 0);
            sample.Resize(0, i % 7 == 0 ? 3 : 2);
            sample.Set(0, 1, i + 0.5);
            sample.Set(1, std::string(i % 5 < 3 ? 3U : 150U, 'a'));
            sample.Set(2, std::to_string(i));
            stream.PushNew(new Sample(Restamped(sample, Poco::Timestamp(1000 - i % 9))));
        }
    }
    std::istringstream in(WrittenBy(WriteSnapshot, log));
    const Document read = ReadSnapshot(in);
    EXPECT_EQ(WrittenBy(WriteXmlDocument, read), WrittenBy(WriteXmlDocument, log));
    EXPECT_EQ(WrittenBy(WriteSnapshot, read), in.str());
    const Stream& stream = *read.streams->GetStreamPtr("s200");
    stream.GetSince(Poco::Timestamp(1000),
                    [](const std::vector<Sample*>& samples) { EXPECT_EQ(samples.size(), 22U); });
}

// A ring takes more samples than it keeps, as a document of another program may have them. The
// memory of those that it keeps and of one more is enough.
TEST(Snapshots, TakeMemoryForTheSamplesThatAreKept) {
    constexpr int count = 150;
    constexpr std::uint64_t perSample = sizeof(Sample) + 3 * sizeof(unsigned int) + 8 + 12;
    const std::string bytes = WrittenBy(WriteSnapshot, MakeLog(count));
    for (const int size : {1, 10, 64, 100}) {
        std::string smaller = bytes;
        const std::size_t at = smaller.find("1.0.0", smaller.find("g\x03log")) + 5;
        // The header of the stream's block, which tells its new size.
        std::ostringstream out;
        const std::size_t begin = smaller.rfind("\x02\x01g\x03log", at);
        out << smaller.substr(0, begin - blockHeaderLength);
        BlockWriter block(out);
        block.AddBytes(smaller.data() + begin, at - begin);
        block.AddNumber(static_cast<std::uint64_t>(size));
        block.End(BlockKind::Stream);
        out << smaller.substr(at + 2);
        const auto kept = static_cast<std::uint64_t>(size + 1);
        std::istringstream in(out.str());
        const Document read = ReadSnapshot(in, {}, {kept * perSample});
        const Stream& stream = *read.streams->GetStreamPtr("g/log");
        EXPECT_EQ(stream.GetNumSamples(), size);
        stream.GetLatest(
            [](const Sample& sample) { EXPECT_EQ(sample.GetDouble(0, 0), 20.0 + count - 1); });
        EXPECT_THAT(Refusal(out.str(), {kept * perSample - 1}), testing::HasSubstr("are left."));
    }
}

TEST(Snapshots, AreRefusedWhenCutOffOrChanged) {
    const std::string bytes = WrittenBy(WriteSnapshot, MakeLog(3));
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        EXPECT_THAT(Refusal(bytes.substr(0, at)), testing::HasSubstr("ends too early")) << at;
        std::string changed = bytes;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        EXPECT_THAT(Refusal(changed), testing::StartsWith("The snapshot cannot be read at byte "))
            << at;
    }
}

// Blocks whose checksums are right, after those of the types and of a stream.
TEST(Snapshots, AreRefusedWhenTheirBlocksMakeNoSense) {
    const std::string bytes = WrittenBy(WriteSnapshot, MakeLog(0));
    const auto number = [](BlockWriter& block, std::uint64_t value) { block.AddNumber(value); };
    const auto stream = [](BlockWriter& block, const std::string& name, const char* type,
                           std::uint64_t size) {
        block.AddNumber(1);
        block.AddText(name);
        block.AddText(type);
        block.AddText("1.0.0");
        block.AddNumber(size);
        block.End(BlockKind::Stream);
    };
    const struct {
        std::function<void(BlockWriter&)> write;
        std::string reason;
    } cases[] = {
        {[&](auto& b) { stream(b, "s", "Nope", 1); }, "Item 'Nope' does not exist."},
        {[&](auto& b) { stream(b, "s", "Log", 0); }, "The stream has a size of 0."},
        {[&](auto& b) { stream(b, "s", "Log", 1U << 31U); },
         "The stream has a size of 2147483648."},
        {[&](auto& b) { stream(b, "s", "Log", 1), stream(b, "s", "Log", 1); },
         "The stream 's' is there twice."},
        {[&](auto& b) { number(b, 0), b.End(BlockKind::Stream); }, "The stream has no name."},
        {[&](auto& b) { number(b, 501), b.End(BlockKind::Group); },
         "The groups are nested too deeply."},
        {[&](auto& b) { number(b, 1), number(b, 9), b.End(BlockKind::Group); },
         "The block is shorter than its content."},
        {[&](auto& b) {
             number(b, 0), number(b, 0), b.End(BlockKind::Group), b.End(BlockKind::End);
         },
         "The block is longer than its content."},
        {[&](auto& b) {
             number(b, 0), b.AddByte(1), number(b, 1), number(b, 1ULL << 32U),
                 b.End(BlockKind::Samples);
         },
         "An entry has 4294967296 elements."},
        {[&](auto& b) {
             number(b, 0), b.AddByte(1), number(b, 1), number(b, 0xFFFFFFFF),
                 b.End(BlockKind::Samples);
         },
         "The block is shorter than its content."},
        {[&](auto& b) {
             b.AddBytes("\xff\xff\xff\xff\xff\xff\xff\xff\xff\x02", 10), b.End(BlockKind::Samples);
         },
         "A number has more than 64 bits."},
        {[&](auto& b) { b.End(BlockKind::Types); }, "The block is not expected here."},
        {[&](auto& b) { number(b, 2), number(b, 0), b.End(BlockKind::End); },
         "There are streams or samples too few or too many."},
    };
    // What the end says, and the end itself.
    const std::size_t end = bytes.size() - blockHeaderLength - 2;
    for (const auto& test : cases) {
        std::ostringstream out;
        out << bytes.substr(0, end);
        BlockWriter block(out);
        test.write(block);
        EXPECT_THAT(Refusal(out.str()), testing::EndsWith(": " + test.reason));
    }
    EXPECT_THAT(Refusal(WrittenBy(WriteSnapshot, MakeLog(2)), {150}),
                testing::HasSubstr("of the limit of 150 are left."));
}

}  // namespace
}  // namespace velmora::core::tessaryn
