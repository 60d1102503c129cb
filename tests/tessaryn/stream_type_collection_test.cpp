// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_type_collection.h"

#include "support/repositories.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"
#include "tessaryn/stream_type_collection_group.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using serialization::SerializationException;
using utils::Version;

TEST(StreamTypeCollection, NamesItsTypesWhichKeepTheirVersion) {
    const StreamTypeCollectionGroup group("a.b", nullptr);
    StreamTypeCollection collection("Pos", nullptr);
    const BuiltTree node({TypeSpec("1.0.0", {EntrySpec("x", "Double")})});
    const StreamType& type = collection.Add(serializer, node.Root()["Type"]);
    EXPECT_EQ(type.GetFullName(), "Pos");
    collection.SetParent(&group);
    EXPECT_EQ(type.GetFullName(), "a.b.Pos");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { collection.SetParent(nullptr); }),
              "StreamTypeCollection must have a valid parent object.");
    // The version in the node is the step here.
    const StreamType& pushedType = collection.PushNew(serializer, node.Root()["Type"]);
    EXPECT_EQ(pushedType.GetVersion(), Version(1, 0, 0));
    EXPECT_EQ(&collection.Get(Version(2, 0, 0)), &pushedType);
    // Copies keep the parent that they had.
    const StreamTypeCollection copies("Else", nullptr, {type});
    EXPECT_EQ(copies.GetLatest().GetFullName(), "a.b.Pos");
    EXPECT_NE(copies.GetLatestPtr(), &type);
}

TEST(StreamTypeCollection, IsNotReadFromANodeThatLacksSomething) {
    const BuiltTree node(
        {List("A", {List("Types", {})}), List("B", {Value("Name", "Pos")}),
         List("C", {Value("Name", "Pos"), List("Types", {TypeSpec("1.0.0"), TypeSpec("1.0.0")})})});
    const auto read = [&](const char* name) {
        return [&, name] { StreamTypeCollection(serializer, node.Root()[name], nullptr); };
    };
    EXPECT_EQ(MessageOf<SerializationException>(read("A")),
              "Value at position '/A/Name' broke rule 'Is mandatory'.");
    EXPECT_EQ(MessageOf<SerializationException>(read("B")),
              "Value at position '/B/Types' broke rule 'Exists'.");
    EXPECT_EQ(MessageOf<utils::VersionedObjectAlreadyExistsException>(read("C")),
              "Version 1.0.0 already exist in the collection StreamTypeCollection");
}

TEST(StreamTypeCollection, PushesACopyAsTheNextVersion) {
    StreamTypeCollection collection("Pos", nullptr);
    StreamType& first = collection.PushNew(Version(1, 0, 0)).Add("x", Int32, 3).Add("s", String, 0);
    StreamType& second = collection.PushCopy(first, Version(0, 1, 0));
    EXPECT_EQ(&collection.Get(Version(1, 1, 0)), &second);
    EXPECT_EQ(second.GetVersion(), Version(1, 1, 0));
    EXPECT_TRUE(second.HasSameLayout(first));
    EXPECT_EQ(second.GetEntry(0).initialSize, 3U);
    // A type of another collection takes the name of this one.
    StreamTypeCollection other("Else", nullptr);
    EXPECT_EQ(other.PushCopy(second, Version(0, 0, 1)).GetFullName(), "Else");
    EXPECT_THROW(other.PushCopy(second, Version(0, 0, 0)), utils::WrongVersionException);
    EXPECT_EQ(other.GetAll().size(), 1U);
}

}  // namespace
}  // namespace velmora::core::tessaryn
