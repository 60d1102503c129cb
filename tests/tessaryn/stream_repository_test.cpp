// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_repository.h"

#include "support/documents.h"
#include "support/live_count.h"
#include "support/repositories.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using serialization::NodeRef;
using serialization::NodeTree;
using serialization::SerializationException;
using utils::Version;

class StreamRepositoryTest : public StreamTypesTest {
  protected:
    StreamRepository streams{logger, '/'};
};

TEST_F(StreamRepositoryTest, FindsTypesInUse) {
    const auto inUse = [&] {
        return std::string(streams.IsStreamTypeInUse(oldPos) ? "old " : "") +
               (streams.IsStreamTypeInUse(pos) ? "new " : "") +
               (streams.IsStreamTypeInUse(&types["a/Pos"]) ? "any" : "");
    };
    EXPECT_EQ(inUse(), "");
    streams.AddStream("a/b/deep", pos, 1);
    EXPECT_EQ(inUse(), "new any");
    streams.AddStream("top", oldPos, 1);
    streams.Remove("a/b/deep");
    EXPECT_EQ(inUse(), "old any");
    // The same layout in another object is another type.
    StreamType copy(*oldPos);
    EXPECT_FALSE(streams.IsStreamTypeInUse(&copy) || streams.IsStreamTypeInUse(&types["Any"]));
}

struct CountedStream : Stream, LiveCount<CountedStream> {
    using Stream::Stream;
};

TEST_F(StreamRepositoryTest, OwnsStreamsFromTheCallOn) {
    const auto make = [&] { return new CountedStream(pos, 1L); };
    EXPECT_EQ(streams.AddStream("", make()), nullptr);
    EXPECT_EQ(CountedStream::live, 0);
    CountedStream* const stored = make();
    EXPECT_EQ(streams.AddStream("plant/s", stored), stored);
    EXPECT_EQ(streams.AddStream("plant/s", make()), stored);
    EXPECT_EQ(streams.AddStream("plant/s", nullptr, 7), stored);
    EXPECT_EQ(CountedStream::live, 1);
    // What is refused adds nothing, and a taken path wins over a size that would be refused.
    EXPECT_THROW(streams.AddStream("b/s", pos, 0), std::invalid_argument);
    EXPECT_EQ(streams.GetGroupPtr("b"), nullptr);
    EXPECT_EQ(streams.AddStream("plant/s", pos, 0), stored);
    EXPECT_EQ(streams.GetGroup("plant").AddStream("s", pos, 0), stored);
    EXPECT_THROW(streams.GetGroup("plant").AddStream("t", pos, 0), std::invalid_argument);
    EXPECT_EQ(streams.AddStream("", pos, 0), nullptr);
    EXPECT_EQ(streams.AddStream("plant/s", std::make_unique<CountedStream>(pos, 1L)), stored);
    const BuiltTree node({StreamSpec("c/s", {"1"}), List("Bad", {Value("Name", "c/t")})});
    EXPECT_EQ(TimesOf(*streams.AddStream(serializer, node.Root()["Stream"], types)), "1 ");
    EXPECT_THROW(streams.AddStream(serializer, node.Root()["Bad"], types), SerializationException);
    EXPECT_TRUE(streams.GetStreamPtr("c/s") != nullptr && streams.GetStreamPtr("c/t") == nullptr);
    // In a group the name is no path.
    StreamGroup& group = streams.GetGroup("c");
    Stream* const named = group.AddStream(serializer, node.Root()["Stream"], types);
    EXPECT_EQ(group.AddStream(serializer, node.Root()["Stream"], types), named);
    EXPECT_EQ(group.GetStreamPtr("c/s"), named);
    EXPECT_EQ(&streams["plant/s"], stored);
    EXPECT_THROW(streams.GetStream("plant"), ItemNotFoundException);
    EXPECT_THROW(streams.GetGroup("plant/s"), GroupNotFoundException);
    // The stream goes before the group of the same name.
    streams.AddStream("plant", pos, 1);
    EXPECT_TRUE(streams.Remove("plant"));
    EXPECT_EQ(CountedStream::live, 1);
    EXPECT_TRUE(streams.Remove("plant") && !streams.Remove("plant") && !streams.IsEmpty());
    EXPECT_EQ(CountedStream::live, 0);
}

TEST_F(StreamRepositoryTest, VisitsStreamsWithTheirPaths) {
    std::vector<std::string> paths = {"s", "a//", "a/s", "a/b/s"};
    for (const std::string& path : paths) {
        streams.AddStream(path, pos, 1);
    }
    EXPECT_EQ(streams.groupSeparator(), '/');
    std::vector<std::string> visited;
    streams.ForEachStream([&](const std::string& path, Stream& stream) {
        EXPECT_EQ(&streams[path], &stream);
        EXPECT_EQ(streams.PathOf(stream), path);
        visited.push_back(path);
    });
    EXPECT_EQ(visited, paths);
    EXPECT_EQ(streams.PathOf(Stream(pos, 1)), "");
    const Stream* found = nullptr;
    const auto find = [&](Stream& stream) { found = &stream; };
    EXPECT_TRUE(streams.VisitStream("a/s", find) && found == streams.GetStreamPtr("a/s"));
    EXPECT_FALSE(streams.VisitStream("a/b", find) || streams.VisitStream("", find));
}

// Deeper than the call stack.
TEST_F(StreamRepositoryTest, SearchesATreeOfAnyDepth) {
    std::string path = "s";
    for (int level = 0; level < LockedLevels(100'000); ++level) {
        path.insert(0, "g/");
    }
    Stream* const deep = streams.AddStream(path, pos, 1);
    EXPECT_TRUE(streams.IsStreamTypeInUse(pos) && !streams.IsStreamTypeInUse(oldPos));
    EXPECT_EQ(streams.GetStreamPtr(path), deep);
}

TEST_F(StreamRepositoryTest, ReadsBackWhatItWrites) {
    StreamType& all = types.Add("p.q//All")->PushNew(Version(1, 0, 0));
    for (int type = Int8; type <= Bool; ++type) {
        all.Add(ToString(static_cast<BaseType>(type)), static_cast<BaseType>(type), 2);
    }
    streams.AddGroup("empty/below");
    streams.AddStream("/unnamed/", pos, 1);
    Stream& numbers = *streams.AddStream("a/numbers", &all, 3);
    for (int i = 1; i <= 5; ++i) {
        numbers.PushNew([&](Sample& sample) {
            for (unsigned short entry = 0; entry < all.GetNumEntries(); ++entry) {
                sample.Set(entry, 1, std::to_string(all.GetType(entry) == Bool ? i % 2 : i * 25));
            }
        });
    }
    const NodeTree tree;
    NodeRef typeNode = tree.GetRoot().AddNode("Types", serialization::NodeElement);
    NodeRef streamNode = tree.GetRoot().AddNode("Streams", serialization::NodeElement);
    types.Serialize(serializer, typeNode);
    streams.Serialize(serializer, streamNode);
    for (const TextForm& form : {xml, json}) {
        const NodeTree readTree = Read(form, Write(form, tree));
        const NodeRef node = readTree.GetRoot();
        const StreamTypeRepository readTypes(logger, serializer, node["Types"]);
        const StreamRepository read(logger, serializer, node["Streams"], readTypes);
        EXPECT_EQ(Written(readTypes), Written(types));
        EXPECT_EQ(Written(read), Written(streams));
        EXPECT_EQ(TimesOf(read.GetStream("a/numbers")), TimesOf(numbers));
        EXPECT_EQ(read.GetStream("a/numbers").GetStreamType()->GetFullName(), "p.q..All");
    }
}

TEST_F(StreamRepositoryTest, WritesThisLayout) {
    streams.AddStream("g/s", pos, 2);
    const BuiltTree samples(
        {List("Samples",
              {SampleSpec("7", {List("Entry", {Value("Key", "x"), Value("Value", "-5;6;")})})})});
    streams["g/s"].Fill(serializer, samples.Root());
    EXPECT_EQ(Written(streams),
              "/1(GroupSeparator/1=/ Group/1(Name/10= Groups/17(Group/1(Name/10=g Groups/17 "
              "Streams/17(Stream/1(Name/2=s Type/2=a.Pos TypeVersion/2=2.0.0 MaxSize/2=2 "
              "Samples/17(Sample/1(TimeStamp/2=7 Entries/17(Entry/1(Key/2=x Value/2=-5;6)))))))) "
              "Streams/17))");
}

}  // namespace
}  // namespace velmora::core::tessaryn
