// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_type_collection_group.h"

#include "support/repositories.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using serialization::SerializationException;
using utils::Version;

using StreamTypeCollectionGroupTest = StreamTypesTest;

TEST_F(StreamTypeCollectionGroupTest, RemovesAVersionFromAllCollectionsBelow) {
    types.Add("Any")->Add(Version(1, 0, 0));
    types.Add("a/b/OnlyOne")->Add(Version(1, 0, 0));
    types.Add("a/b/Both")->Add(Version(1, 0, 0));
    types["a/b/Both"].Add(Version(2, 0, 0));
    types.AddGroup("a/b/c")->Add("Empty");
    types.GetGroup("").RemoveAllTypesOfVersion(Version(1, 0, 0));
    EXPECT_EQ(types["Any"].GetAll().size(), 1U);
    EXPECT_EQ(types.GetGroup("a/b").GetItemNames(), std::vector<std::string>{"Both"});
    EXPECT_EQ(types["a/b/Both"].GetAll().size(), 1U);
    // Groups stay, empty or not.
    EXPECT_TRUE(types.GetGroup("a/b/c").IsEmpty());
}

TEST_F(StreamTypeCollectionGroupTest, MergesANodeUntilReadingFails) {
    StreamTypeCollectionGroup root("", nullptr);
    StreamTypeCollectionGroup* const a = root.AddGroup("a");
    a->Add("Pos")->Add(Version(5, 0, 0));
    const BuiltTree node({GroupSpec(
        "ignored",
        {GroupSpec("a", {GroupSpec("deep", {}, "TypeCollections", {})}, "TypeCollections",
                   {CollectionSpec("Pos", {TypeSpec("1.0.0")}), CollectionSpec("Vel", {})})},
        "TypeCollections",
        {CollectionSpec("First", {TypeSpec("2.0.0"), TypeSpec("1.0.0", {EntrySpec("y", "Bool")})}),
         CollectionSpec("Bad", {TypeSpec("1.0.0", {EntrySpec("x", "NoType")})}),
         CollectionSpec("Never", {})})});
    for (int time = 0; time < 2; ++time) {
        EXPECT_THROW(root.Fill(serializer, node.Root()["Group"]), std::invalid_argument);
        EXPECT_EQ(
            Written(root),
            "/1(Name/10= Groups/17(Group/1(Name/10=a Groups/17(Group/1(Name/10=deep Groups/17 "
            "TypeCollections/17)) TypeCollections/17(TypeCollection/1(Name/10=Pos "
            "Types/17(Type/1(Version/2=5.0.0 Entries/17))) TypeCollection/1(Name/10=Vel "
            "Types/17)))) TypeCollections/17(TypeCollection/1(Name/10=First "
            "Types/17(Type/1(Version/2=1.0.0 Entries/17(Entry/1(Key/2=y Type/2=Bool))) "
            "Type/1(Version/2=2.0.0 Entries/17)))))");
        EXPECT_EQ(root.GetGroupPtr("a"), a);
        EXPECT_EQ(a->Get("Vel").GetFullName() + a->GetGroup("deep").GetFullName(), "a.Vela.deep");
    }
    EXPECT_EQ(MessageOf<SerializationException>(
                  [&] { StreamTypeCollectionGroup(serializer, node.Root(), nullptr); }),
              "Value at position '/Name' broke rule 'Is mandatory'.");
}

}  // namespace
}  // namespace velmora::core::tessaryn
