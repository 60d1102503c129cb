// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/snapshot.h"

#include "fuzz/cost_limit.h"
#include "fuzz/fuzz.h"
#include "serializer/serialization_exception.h"
#include "tessaryn/snapshot_block.h"

#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>

namespace velmora::test {

namespace {

using namespace core::tessaryn;

std::string WrittenBytes(const StreamTypeRepository& types, const StreamRepository& streams) {
    std::ostringstream out;
    WriteSnapshot(types, streams, out);
    return out.str();
}

// The beginning of a snapshot, up to its first stream.
std::string MakeBeginning() {
    StreamTypeRepository types(Poco::Logger::root(), '/');
    types.Add("T")->PushNew({1, 0, 0}).Add("x", Int32, 1).Add("s", String, 0);
    std::string bytes = WrittenBytes(types, StreamRepository(Poco::Logger::root(), '/'));
    // Without the last block, which has two numbers.
    bytes.resize(bytes.size() - blockHeaderLength - 2);
    return bytes;
}

// The bytes are refused, or give a document that is the same after it was written and read again.
void ReadBytes(const std::string& bytes) {
    std::optional<Document> document;
    try {
        const CostLimit limit("Reading a snapshot", bytes.size() + maxBlockLength, 200);
        std::istringstream in(bytes);
        document = ReadSnapshot(in, {}, {1 << 20});
    } catch (const BaseException&) {
        return;
    }
    const std::string written = WrittenBytes(*document->types, *document->streams);
    std::istringstream in(written);
    const Document again = ReadSnapshot(in);
    EXPECT_EQ(WrittenBytes(*again.types, *again.streams), written);
}

}  // namespace

// Reads the bytes twice: as a snapshot, and as the contents of blocks with correct checksums, each
// after a byte for its kind and one for its length.
void Fuzz(std::string_view input) {
    ReadBytes(std::string(input));
    static const std::string beginning = MakeBeginning();
    std::ostringstream out;
    out << beginning;
    BlockWriter block(out);
    for (ByteChoices bytes(input); !bytes.Done();) {
        const auto kind = static_cast<BlockKind>(bytes.Below(6));
        const std::string_view content = bytes.Take(bytes.Below(256));
        block.AddBytes(content.data(), content.size());
        block.End(kind);
    }
    ReadBytes(out.str());
}

}  // namespace velmora::test
