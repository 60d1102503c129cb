// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_group.h"

#include "support/repositories.h"
#include "support/subscribers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using serialization::NodeRef;
using serialization::SerializationException;

using StreamGroupTest = StreamTypesTest;

// A group that names "a" with a group and two streams below it, and four streams, of which the
// third cannot be read.
const BuiltTree tree(
    {GroupSpec("ignored",
               {GroupSpec("a", {GroupSpec("deep", {}, "Streams", {StreamSpec("d", {"4"})})},
                          "Streams", {StreamSpec("s", {"1"}), StreamSpec("t", {"2", "3"})})},
               "Streams",
               {StreamSpec("twice", {"1"}), StreamSpec("twice", {"2"}),
                StreamSpec("bad", {"5"}, "0"), StreamSpec("never", {})})});
const NodeRef groupNode = tree.Root()["Group"];

TEST_F(StreamGroupTest, MergesANodeUntilReadingFails) {
    StreamGroup root("", nullptr);
    Stream* const kept = root.AddGroup("a")->AddStream("s", pos, 5);
    for (int time = 0; time < 2; ++time) {
        EXPECT_THROW(root.Fill(serializer, groupNode, types), SerializationException);
        EXPECT_EQ(root.GetGroup("a").GetStreamPtr("s"), kept);
        EXPECT_TRUE(kept->IsEmpty());
        EXPECT_EQ(TimesOf(root.GetGroup("a").GetStream("t")), "2 3 ");
        EXPECT_EQ(TimesOf(root.GetGroup("a").GetGroup("deep").GetStream("d")), "4 ");
        EXPECT_EQ(root.GetGroup("a").GetGroup("deep").GetFullName(), "a.deep");
        EXPECT_EQ(root.GetItemNames(), std::vector<std::string>{"twice"});
        EXPECT_EQ(TimesOf(root.GetStream("twice")), "1 ");
    }
}

TEST_F(StreamGroupTest, LeavesAGroupAsItIsWhenItsNodeCannotBeRead) {
    StreamGroup root("", nullptr);
    root.AddGroup("a")->AddStream("s", pos, 5);
    const BuiltTree broken(
        {GroupSpec("",
                   {GroupSpec("a", {GroupSpec("b", {}, "Streams", {})}, "Streams",
                              {StreamSpec("t", {}), StreamSpec("bad", {}, "0")})},
                   "Streams", {})});
    EXPECT_THROW(root.Fill(serializer, broken.Root()["Group"], types), SerializationException);
    EXPECT_EQ(root.GetGroup("a").GetItemNames(), std::vector<std::string>{"s"});
    EXPECT_TRUE(root.GetGroup("a").GetGroupNames().empty());
}

// Each level would be read twice as often as the one above if a group whose name is taken were read
// again to be merged.
TEST_F(StreamGroupTest, ReadsGroupsOfOneNameInsideEachOtherOnce) {
    constexpr int levels = LockedLevels(200);
    const auto empty = GroupSpec("a", {}, "Streams", {});
    NodeSpec group = GroupSpec("a", {}, "Streams", {StreamSpec("s", {"1"})});
    for (int level = 1; level < levels; ++level) {
        group = GroupSpec("a", {empty, group}, "Streams", {});
    }
    const BuiltTree deep({group});
    StreamGroup root("", nullptr);
    root.Fill(serializer, deep.Root()["Group"], types);
    const StreamGroup* deepest = &root;
    for (int level = 1; level < levels; ++level) {
        deepest = &deepest->GetGroup("a");
        EXPECT_EQ(deepest->GetAllGroupPtrs().size() + deepest->GetAllItemPtrs().size(), 1U);
    }
    EXPECT_EQ(TimesOf(deepest->GetStream("s")), "1 ");
    EXPECT_EQ(deepest->GetFullName().size(), 2U * levels - 3);
}

TEST_F(StreamGroupTest, AddsSamplesToTheStreamsThatExist) {
    // Nothing but names and samples is read, so the capacity of "bad" does no harm.
    StreamGroup root("", nullptr);
    int notified = 0;
    for (Stream* stream :
         {root.AddGroup("a")->AddStream("t", pos, 1), root.AddStream("bad", pos, 1)}) {
        stream->Subscribe(SubscriptionOf(1, [&](Stream&, SubscriptionArgs&) { ++notified; }));
    }
    root.AddSamplesToExistingStreams(serializer, groupNode, types);
    EXPECT_EQ(notified, 3);
    EXPECT_EQ(TimesOf(root.GetGroup("a").GetStream("t")), "3 ");
    EXPECT_EQ(TimesOf(root.GetStream("bad")), "5 ");
    EXPECT_EQ(root.GetItemNames().size() + root.GetGroup("a").GetItemNames().size(), 2U);
    EXPECT_TRUE(root.GetGroup("a").GetGroupNames().empty());
}

}  // namespace
}  // namespace velmora::core::tessaryn
