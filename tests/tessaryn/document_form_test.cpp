// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/document_form.h"

#include "support/node_builder.h"
#include "support/ring_model.h"
#include "support/thrown.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using Poco::Logger;
using serialization::NodeRef;
using serialization::NodeSerializer;
using serialization::NodeTree;

Sample Reread(const Sample& sample) {
    const NodeTree tree;
    NodeRef root = tree.GetRoot();
    WriteSample(sample, root);
    return ReadSample(*sample.GetStreamType(), root);
}

NodeSpec SampleSpec(const std::string& time, const std::vector<NodeSpec>& entries) {
    return List("Sample", {Value("TimeStamp", time), List("Entries", entries)});
}

NodeSpec ValueSpec(const std::string& key, const std::string& value) {
    return List("Entry", {Value("Key", key), Value("Value", value)});
}

TEST(DocumentSample, KeepsTimeSizesAndBits) {
    TestType layout({{"d", Double, 1}, {"f", Float, 1}, {"i", Int64, 2}, {"s", String, 3}});
    Sample sample(&layout.type, Poco::Timestamp());
    const double doubles[] = {0.1 + 0.2, -0.0, 5e-324, 1.7976931348623157e308, INFINITY, -INFINITY};
    sample.Resize(0, std::size(doubles) + 1);
    for (unsigned int i = 0; i < std::size(doubles); ++i) {
        sample.Set(0, i, doubles[i]);
    }
    sample.Set(0, std::size(doubles), std::numeric_limits<double>::quiet_NaN());
    sample.Set(1, 0, 16777215.0F);
    sample.Resize(2, 0);
    sample.Set(3, "a;b");
    for (const long long time : {-5LL, 0LL, 1700000000000000LL, LLONG_MIN, LLONG_MAX}) {
        const Sample written = Restamped(sample, Poco::Timestamp(time));
        const Sample read = Reread(written);
        EXPECT_EQ(read.GetTimeStamp(), Poco::Timestamp(time));
        EXPECT_EQ(BinaryOf(read), BinaryOf(sample));
    }
}

TEST(DocumentSample, ReadsEntriesAsTheNodeGivesThem) {
    TestType layout({{"x", UInt8, 2}, {"s", String, 2}});
    const struct {
        const char* name;
        std::vector<NodeSpec> entries;
        std::vector<std::string> bytes;
    } cases[] = {
        {"nothing named", {}, {std::string(2, '\0'), std::string(2, '\0')}},
        {"fewer and more", {ValueSpec("x", "7"), ValueSpec("s", "abc")}, {"\7", "abc"}},
        {"empty", {ValueSpec("x", ""), ValueSpec("s", "")}, {"", ""}},
        {"not a number", {ValueSpec("x", "1;y;")}, {std::string("\1\0", 2), std::string(2, '\0')}},
        {"named twice", {ValueSpec("x", "1;2;3"), ValueSpec("x", "4")}, {"\4", {"\0\0", 2}}},
        {"nan for an integer", {ValueSpec("x", "nan;9")}, {{"\0\x9", 2}, {"\0\0", 2}}},
    };
    for (const auto& each : cases) {
        const BuiltTree tree({SampleSpec("5", each.entries)});
        const Sample sample = ReadSample(layout.type, tree.Root()["Sample"]);
        EXPECT_EQ(BinaryOf(sample), BinaryForm(each.bytes)) << each.name;
        EXPECT_EQ(sample.GetTimeStamp(), Poco::Timestamp(5)) << each.name;
    }
    const BuiltTree timeless({List("Entries", {})});
    EXPECT_GT(ReadSample(layout.type, timeless.Root()).GetTimeStamp(), Poco::Timestamp(1000000000));
}

TEST(DocumentStream, IsWrittenInPushOrderForBothReaders) {
    StreamTypeRepository types(Logger::root(), '/');
    StreamType& type = types.Add("Pos")->PushNew({1, 0, 0});
    type.Add("id", Int32, 1);
    Stream stream(&type, 3);
    for (int i = 1; i <= 4; ++i) {
        stream.PushNew([&](Sample& sample) { sample.Set(0, 0, i); });
    }
    const NodeTree tree;
    NodeRef root = tree.GetRoot();
    WriteStream(stream, root);
    const std::unique_ptr<Stream> read = ReadStream(types, root);
    const Stream imposed(NodeSerializer(), root, types);
    for (const Stream* const each : {&std::as_const(*read), &imposed}) {
        EXPECT_EQ(AllOf(*each), (std::vector<int>{2, 3, 4}));
        EXPECT_EQ(LatestOf(*each), 4);
        EXPECT_EQ(each->GetMaxSize(), 3);
        EXPECT_EQ(each->GetStreamType(), &type);
    }
    // And what a stream writes itself, in storage order.
    const NodeTree own;
    NodeRef ownRoot = own.GetRoot();
    StreamRepository streams(Logger::root(), '/');
    streams.AddStream("wrapped", new Stream(NodeSerializer(), root, types));
    streams.Serialize(NodeSerializer(), ownRoot);
    EXPECT_EQ(AllOf(ReadStreams(types, ownRoot)->GetStream("wrapped")),
              (std::vector<int>{2, 3, 4}));
}

TEST(DocumentRepositories, AreReadByTheConstructorsFromANode) {
    StreamTypeRepository types(Logger::root(), '/');
    StreamTypeCollection& collection = *types.Add("plant/Tank");
    collection.PushNew({1, 0, 0}).Add("level", Double, 3).Add("list", Int32, 0);
    StreamRepository streams(Logger::root(), '|');
    streams.AddStream("north|tank 1", collection.GetLatestPtr(), 2)->PushNew([](Sample&) {});
    const NodeTree tree;
    NodeRef typesNode = tree.GetRoot().AddNode("Types", serialization::NodeElement);
    NodeRef streamsNode = tree.GetRoot().AddNode("Streams", serialization::NodeElement);
    WriteStreamTypes(types, typesNode);
    WriteStreams(streams, streamsNode);
    const StreamTypeRepository readTypes(Logger::root(), NodeSerializer(), typesNode);
    const StreamRepository read(Logger::root(), NodeSerializer(), streamsNode, readTypes);
    const StreamType* const type = readTypes.Get("plant/Tank").GetLatestPtr();
    EXPECT_EQ(type->GetMemOffsetLookup(), (std::vector<unsigned int>{0, 24, 24}));
    EXPECT_EQ(read.GetStream("north|tank 1").GetStreamType(), type);
    EXPECT_FALSE(read.GetStream("north|tank 1").IsEmpty());
}

TEST(DocumentRepositories, MergeGroupsAndKeepTheFirstStream) {
    const StreamTypeRepository types(Logger::root(), '/');
    const auto stream = [](const std::string& name, const std::string& size) {
        return List("Stream", {Value("Name", name), Value("Type", "Any"), Value("MaxSize", size)});
    };
    const BuiltTree tree(
        {GroupSpec("",
                   {GroupSpec("g", {}, "Streams", {stream("a", "1")}),
                    GroupSpec("g", {}, "Streams", {stream("a", "2"), stream("b", "3")})},
                   "Streams", {})});
    const auto streams = ReadStreams(types, tree.Root());
    EXPECT_EQ(streams->GetStream("g.a").GetMaxSize(), 1);
    EXPECT_EQ(streams->GetStream("g.b").GetMaxSize(), 3);
}

// What is wrong, and the message, which names the node.
TEST(DocumentRepositories, NameTheNodeThatCannotBeRead) {
    StreamTypeRepository types(Logger::root(), '/');
    types.Add("Pos")->PushNew({1, 0, 0}).Add("x", Int32, 1);
    const auto stream = [](std::vector<NodeSpec> children) {
        children.push_back(Value("Name", "s"));
        return List("Stream", std::move(children));
    };
    const auto with = [&](const std::vector<NodeSpec>& samples) {
        return stream({Value("MaxSize", "2"), Value("Type", "Pos"), List("Samples", samples)});
    };
    const NodeSpec good = SampleSpec("1", {ValueSpec("x", "1")});
    const struct {
        NodeSpec stream;
        std::string position;
        std::string message;
    } cases[] = {
        {List("Stream", {}), "/Group/Streams/Stream",
         "Value at position '/Group/Streams/Stream/Name' broke rule 'Is mandatory'."},
        {stream({Value("MaxSize", "0"), Value("Type", "Pos")}), "/Group/Streams/Stream",
         "Value at position '/Group/Streams/Stream/MaxSize' broke rule 'Is greater than 0'."},
        {stream({Value("MaxSize", "1"), Value("Type", "Nope")}), "/Group/Streams/Stream",
         "/Group/Streams/Stream: Item 'Nope' does not exist."},
        {stream({Value("MaxSize", "1"), Value("Type", "Pos"), Value("TypeVersion", "7.0.0")}),
         "/Group/Streams/Stream",
         "/Group/Streams/Stream: Version 7.0.0 does not exist in the collection "
         "StreamTypeCollection"},
        {with({good, SampleSpec("1", {ValueSpec("y", "1")})}),
         "/Group/Streams/Stream/Samples/Sample[2]",
         "/Group/Streams/Stream/Samples/Sample[2]: Entry with name 'y' does not exist in stream "
         "type 'Pos' with version '1.0.0'."},
        {with({SampleSpec("1", {List("Entry", {Value("Key", "x")})})}),
         "/Group/Streams/Stream/Samples/Sample",
         "Value at position '/Group/Streams/Stream/Samples/Sample/Entries/Entry/Value' broke rule "
         "'Is mandatory'."},
    };
    for (const auto& each : cases) {
        const BuiltTree tree({GroupSpec("", {}, "Streams", {each.stream})});
        try {
            ReadStreams(types, tree.Root());
            FAIL() << each.message;
        } catch (const DocumentException& error) {
            EXPECT_EQ(error.GetPosition(), each.position);
            EXPECT_EQ(error.what(), each.message);
        }
    }
}

TEST(DocumentLimits, BoundTheMemoryOfAllSamplesAtOnce) {
    StreamTypeRepository types(Logger::root(), '/');
    StreamType& big = types.Add("Big")->PushNew({1, 0, 0});
    big.Add("x", UInt8, 4000000000U).Add("y", UInt8, 1);
    // A stream of capacity 2 with samples that have one entry of these sizes and one byte more.
    const auto document = [](const std::vector<std::size_t>& sizes) {
        std::vector<NodeSpec> samples;
        for (const std::size_t size : sizes) {
            samples.push_back(SampleSpec("1", {ValueSpec("x", std::string(size, ';'))}));
        }
        return BuiltTree({Value("MaxSize", "2"), Value("Type", "Big"), List("Samples", samples)});
    };
    const std::uint64_t bare = sizeof(Sample) + 3 * sizeof(unsigned int) + 1;
    const struct {
        const char* name;
        std::vector<std::size_t> sizes;
        std::uint64_t needed;
    } cases[] = {
        {"one", {3}, bare + 3},
        {"two", {3, 4}, 2 * bare + 7},
        // A new sample is read before the oldest one goes.
        {"overwritten", {3, 3, 3, 3, 3}, 3 * (bare + 3)},
        {"large ones first", {100, 100, 0, 0}, 3 * bare + 200},
    };
    for (const auto& each : cases) {
        const BuiltTree tree = document(each.sizes);
        EXPECT_NO_THROW(ReadStream(types, tree.Root(), {each.needed})) << each.name;
        EXPECT_THROW(ReadStream(types, tree.Root(), {each.needed - 1}), DocumentException)
            << each.name;
    }
    const BuiltTree two = document({3, 4});
    EXPECT_EQ(MessageOf<DocumentException>([&] { ReadStream(types, two.Root(), {2 * bare}); }),
              "/Samples/Sample[2]: A sample takes " + std::to_string(bare + 4) +
                  " bytes of memory, but only " + std::to_string(bare - 3) + " of the limit of " +
                  std::to_string(2 * bare) + " are left.");
    // A few bytes of text that ask for 4 GB.
    const BuiltTree small({SampleSpec("1", {})});
    EXPECT_THROW(ReadSample(big, small.Root()["Sample"], {1 << 30}), DocumentException);
}

}  // namespace
}  // namespace velmora::core::tessaryn
