// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/repositories.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"
#include "tessaryn/stream.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using serialization::SerializationException;

class StreamNodeTest : public StreamTypesTest {
  protected:
    std::unique_ptr<Stream> ReadStream(const std::vector<NodeSpec>& children) const {
        return std::make_unique<Stream>(serializer, BuiltTree(children).Root(), types);
    }
};

TEST_F(StreamNodeTest, ReadsTheCapacity) {
    const auto read = [&](const std::string& maxSize) {
        return ReadStream({Value("Type", "a/Pos"), Value("MaxSize", maxSize)})->GetMaxSize();
    };
    EXPECT_EQ(read("1"), 1);
    EXPECT_EQ(read("2147483647"), 2147483647);
    const std::string broken = "Value at position '/MaxSize' broke rule 'Is greater than 0'.";
    const std::pair<const char*, const char*> refused[] = {
        {"0", ""},
        {"-1", ""},
        {"2147483648", " Reason: '2147483648' is not a 32-bit signed integer."},
        {"4294967297", " Reason: '4294967297' is not a 32-bit signed integer."},
        {"9x", " Reason: '9x' is not a 32-bit signed integer."},
        {"", " Reason: '' is not a 32-bit signed integer."}};
    for (const auto& [maxSize, reason] : refused) {
        EXPECT_EQ(MessageOf<SerializationException>([&] { read(maxSize); }), broken + reason);
    }
    EXPECT_EQ(MessageOf<SerializationException>([&] { ReadStream({Value("Type", "a/Pos")}); }),
              broken);
}

TEST_F(StreamNodeTest, FindsTheTypeByPathOrFullName) {
    const auto typeOf = [&](const std::string& type, const std::string& version) {
        return ReadStream(
                   {Value("Type", type), Value("MaxSize", "1"), Value("TypeVersion", version)})
            ->GetStreamType();
    };
    EXPECT_EQ(typeOf("a/Pos", "1.0.0"), oldPos);
    for (const std::string version : {"2.0.0", "255.255.65535", "nonsense", "2.0"}) {
        EXPECT_EQ(typeOf("a/Pos", version), pos) << version;
    }
    EXPECT_EQ(typeOf("a.Pos", ""), pos);
    EXPECT_THROW(typeOf("no/such", ""), ItemNotFoundException);
    EXPECT_THROW(typeOf("a/Pos", "7.0.0"), utils::VersionedObjectNotFoundException);
    EXPECT_EQ(MessageOf<SerializationException>([&] { ReadStream({Value("MaxSize", "1")}); }),
              "Value at position '/Type' broke rule 'Is mandatory'.");
}

TEST_F(StreamNodeTest, PushesTheSamplesAndWrapsTheirErrors) {
    const auto node = [](const std::vector<NodeSpec>& samples) {
        return std::vector<NodeSpec>{Value("Type", "a/Pos"), Value("MaxSize", "2"),
                                     List("Samples", samples)};
    };
    const auto stream = ReadStream(node({SampleSpec("11"), List("Else", {Value("TimeStamp", "13")}),
                                         SampleSpec("14"), SampleSpec("15")}));
    EXPECT_EQ(TimesOf(*stream), "14 15 ");
    const auto unknown =
        node({SampleSpec("16"),
              SampleSpec("17", {List("Entry", {Value("Key", "y"), Value("Value", "1")})})});
    const std::string reason =
        "Entry with name 'y' does not exist in stream type 'Pos' with version '2.0.0'.";
    EXPECT_EQ(MessageOf<StreamCreateException>([&] { ReadStream(unknown); }),
              "Could not create stream. Reason: " + reason);
    // What was pushed before the failure stays.
    const BuiltTree more(unknown);
    EXPECT_ANY_THROW(stream->Fill(serializer, more.Root()));
    EXPECT_EQ(TimesOf(*stream), "16 15 ");
}

}  // namespace
}  // namespace velmora::core::tessaryn
