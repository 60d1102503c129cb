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
