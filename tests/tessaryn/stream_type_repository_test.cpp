// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_type_repository.h"

#include "support/node_builder.h"
#include "support/root_logger.h"
#include "support/samples.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"

#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using serialization::NodeRef;
using serialization::SerializationException;
using serialization::Serializer;
using test::BuiltTree;
using test::CollectionSpec;
using test::EntrySpec;
using test::GroupSpec;
using test::List;
using test::MessageOf;
using test::TypeSpec;
using test::Value;
using test::Written;
using utils::Version;

const Serializer<NodeRef> serializer;

/// The versions under which types are kept, each followed by the type's own where it differs.
std::string VersionsOf(const StreamTypeCollection& collection) {
    std::string versions;
    for (const StreamType* type : collection.GetAll())
        versions += type->GetVersion().ToString() + " ";
    return versions;
}

// ---- Collections ----

TEST(StreamTypeCollection, GivesItsNameToItsTypes) {
    StreamTypeCollectionGroup root("", nullptr);
    const StreamTypeCollectionGroup group("a.b", &root);
    StreamTypeCollection collection("Pos", nullptr);
    EXPECT_EQ(collection.GetFullName(), "Pos");
    StreamType& type = collection.Add(Version(1, 0, 0));
    for (const auto& [parent, fullName] :
         {std::pair<const INamedObject*, std::string>(&root, "Pos"), {&group, "a.b.Pos"}}) {
        collection.SetParent(parent);
        EXPECT_EQ(collection.GetParent(), parent);
        EXPECT_EQ(collection.GetName(), "Pos");
        EXPECT_EQ(collection.GetFullName(), fullName);
        EXPECT_EQ(type.GetFullName(), fullName);
        EXPECT_EQ(collection.PushNew(Version(0, 0, 1)).GetFullName(), fullName);
    }
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { collection.SetParent(nullptr); }),
              "StreamTypeCollection must have a valid parent object.");
    EXPECT_EQ(collection.GetParent(), &group);
    EXPECT_EQ(StreamTypeCollection("", &group).GetFullName(), "a.b.");
}

TEST(StreamTypeCollection, MakesTypesOfTheVersionTheyAreKeptUnder) {
    StreamTypeCollection collection("Pos", nullptr);
    EXPECT_EQ(MessageOf<utils::VersionedObjectNotFoundException>([&] { collection.GetLatest(); }),
              "Collection StreamTypeCollection is empty");
    collection.PushNew(Version(1, 0, 0));
    collection.PushNew(Version(0, 2, 0));
    collection.Add(Version(1, 1, 0));
    EXPECT_EQ(MessageOf<utils::VersionedObjectAlreadyExistsException>(
                  [&] { collection.Add(Version(1, 1, 0)); }),
              "Version 1.1.0 already exist in the collection StreamTypeCollection");
    EXPECT_THROW(collection.PushNew(Version()), utils::WrongVersionException);
    EXPECT_THROW(collection.PushNew(Version(255, 0, 0)), utils::WrongVersionException);
    EXPECT_EQ(VersionsOf(collection), "1.0.0 1.1.0 1.2.0 ");
}

TEST(StreamTypeCollection, TakesTypesFromNodesUnderTheirVersionOrAsAStep) {
    StreamTypeCollection collection("Pos", nullptr);
    const BuiltTree node({TypeSpec("1.0.0", {EntrySpec("x", "Double")})});
    collection.Add(serializer, node.Root()["Type"]);
    // The version in the node is the step here, and stays the type's own.
    StreamType& pushedType = collection.PushNew(serializer, node.Root()["Type"]);
    EXPECT_EQ(pushedType.GetVersion(), Version(1, 0, 0));
    EXPECT_EQ(pushedType.GetName(), "Pos");
    EXPECT_EQ(collection.GetLatestVersion(), Version(2, 0, 0));
    EXPECT_EQ(&collection.Get(Version(2, 0, 0)), &pushedType);
    EXPECT_TRUE(pushedType.EntryExists("x"));
    EXPECT_THROW(collection.Add(serializer, node.Root()["Type"]),
                 utils::VersionedObjectAlreadyExistsException);
    EXPECT_THROW(collection.Add(serializer, node.Root()["nosuch"]), SerializationException);
    EXPECT_EQ(collection.GetAll().size(), 2U);
}

TEST(StreamTypeCollection, CopiesGivenTypesButSharesThoseOfAnother) {
    const test::TestType type({{"x", Int32, 2}}, "Else");
    const StreamTypeCollection copies("Pos", nullptr, {type.type});
    EXPECT_NE(copies.GetAll().front(), &type.type);
    EXPECT_EQ(copies.GetAll().front()->GetEntry(0).initialSize, 2U);
    // Copies keep the parent that they had.
    EXPECT_EQ(copies.GetAll().front()->GetFullName(), "Root.Else");
    EXPECT_EQ(MessageOf<utils::VersionedObjectAlreadyExistsException>([&] {
                  StreamTypeCollection("Pos", nullptr, {type.type, type.type});
              }),
              "Version 1.0.0 already exist in the collection StreamTypeCollection");

    struct Forgetful : StreamTypeCollection {
        using StreamTypeCollection::operator=;
        using StreamTypeCollection::StreamTypeCollection;
        ~Forgetful() override {
            objects.clear();
            versions.clear();
        }
    } target("Other", nullptr);
    target = copies;
    EXPECT_EQ(target.GetAll(), copies.GetAll());
    EXPECT_EQ(target.GetName(), "Pos");
    EXPECT_EQ(target.GetLatestVersion(), Version(1, 0, 0));
}

TEST(StreamTypeCollection, WritesAndReadsItsTypesInOrderOfVersions) {
    const BuiltTree node({CollectionSpec(
        "Pos", {TypeSpec("2.0.0", {EntrySpec("y", "String")}),
                List("Whatever", {Value("Version", "1.0.0"), List("Entries", {})})})});
    const StreamTypeCollection collection(serializer, node.Root()["TypeCollection"], nullptr);
    EXPECT_EQ(VersionsOf(collection), "1.0.0 2.0.0 ");
    EXPECT_EQ(Written(collection),
              "/1(Name/10=Pos Types/17(Type/1(Version/2=1.0.0 Entries/17) "
              "Type/1(Version/2=2.0.0 Entries/17(Entry/1(Key/2=y Type/2=String)))))");
    EXPECT_EQ(collection.GetLatest().GetEntry(0).initialSize, 1U);
}

TEST(StreamTypeCollection, RefusesNodesThatLackSomething) {
    const test::RootLoggerRecord log;
    const BuiltTree node(
        {List("A", {List("Types", {})}), List("B", {Value("Name", "Pos")}),
         List("C", {Value("Name", "Pos"), List("Types", {TypeSpec("1.0.0"), TypeSpec("1.0.0")})}),
         List("D", {Value("Name", "Pos"), List("Types", {TypeSpec("0.0.0")})})});
    const auto message = [&](const std::string& name) {
        return MessageOf<SerializationException>(
            [&] { StreamTypeCollection(serializer, node.Root()[name], nullptr); });
    };
    EXPECT_EQ(message("A"), "Value at position '/A/Name' broke rule 'Is mandatory'.");
    EXPECT_EQ(message("B"), "Value at position '/B/Types' broke rule 'Exists'.");
    EXPECT_EQ(log.Warnings(),
              (std::vector<std::string>{"Value at position '/A/Name' broke rule 'Is mandatory'.",
                                        "Value at position '/B/Types' broke rule 'Exists'."}));
    EXPECT_EQ(MessageOf<utils::VersionedObjectAlreadyExistsException>(
                  [&] { StreamTypeCollection(serializer, node.Root()["C"], nullptr); }),
              "Version 1.0.0 already exist in the collection StreamTypeCollection");
    EXPECT_THROW(StreamTypeCollection(serializer, node.Root()["D"], nullptr),
                 utils::WrongVersionException);
}

// ---- Groups ----

TEST(StreamTypeCollectionGroup, MergesGroupsAndKeepsCollectionsWhenFilled) {
    StreamTypeCollectionGroup root("", nullptr);
    StreamTypeCollectionGroup* const a = root.AddGroup("a");
    StreamTypeCollection* const pos = a->Add("Pos");
    pos->Add(Version(5, 0, 0));
    EXPECT_EQ(a->Add("Pos"), pos);
    const BuiltTree node({GroupSpec(
        "ignored",
        {GroupSpec("a", {GroupSpec("deep", {}, "TypeCollections", {})}, "TypeCollections",
                   {CollectionSpec("Pos", {TypeSpec("1.0.0")}),
                    CollectionSpec("Vel", {TypeSpec("1.0.0")})}),
         GroupSpec("b", {}, "TypeCollections", {CollectionSpec("Pos", {})})},
        "TypeCollections", {CollectionSpec("Top", {TypeSpec("3.0.0")})})});
    for (int time = 0; time < 2; ++time) {
        root.Fill(serializer, node.Root()["Group"]);
        EXPECT_EQ(root.GetName(), "");
        EXPECT_EQ(root.GetGroupPtr("a"), a);
        EXPECT_EQ(a->GetPtr("Pos"), pos);
        EXPECT_EQ(VersionsOf(*pos), "5.0.0 ");
        EXPECT_EQ(a->Get("Vel").GetFullName(), "a.Vel");
        EXPECT_EQ(a->GetGroup("deep").GetFullName(), "a.deep");
        EXPECT_EQ(root.GetGroup("b").Get("Pos").GetFullName(), "b.Pos");
        EXPECT_EQ(root.Get("Top").GetLatestVersion(), Version(3, 0, 0));
        EXPECT_EQ(root.GetGroupNames().size(), 2U);
    }
    // Nothing to merge is nothing to do.
    root.Fill(serializer, node.Root()["nosuch"]);
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { root.Get("nosuch"); }),
              "Item 'nosuch' does not exist.");
}

TEST(StreamTypeCollectionGroup, KeepsWhatWasAddedBeforeReadingFailed) {
    const test::RootLoggerRecord log;
    StreamTypeCollectionGroup root("", nullptr);
    const BuiltTree node(
        {GroupSpec("", {GroupSpec("good", {}, "TypeCollections", {CollectionSpec("Pos", {})})},
                   "TypeCollections",
                   {CollectionSpec("First", {TypeSpec("1.0.0")}),
                    CollectionSpec("Bad", {TypeSpec("1.0.0", {EntrySpec("x", "NoType")})}),
                    CollectionSpec("Never", {})})});
    EXPECT_THROW(root.Fill(serializer, node.Root()["Group"]), std::invalid_argument);
    EXPECT_EQ(root.GetItemNames(), std::vector<std::string>{"First"});
    EXPECT_TRUE(root.GetGroup("good").ItemExists("Pos"));
    EXPECT_THROW(StreamTypeCollectionGroup(serializer, node.Root()["Group"], nullptr),
                 std::invalid_argument);
    EXPECT_EQ(MessageOf<SerializationException>(
                  [&] { StreamTypeCollectionGroup(serializer, node.Root(), nullptr); }),
              "Value at position '/Name' broke rule 'Is mandatory'.");
}

TEST(StreamTypeCollectionGroup, RemovesAVersionEverywhereBelow) {
    StreamTypeCollectionGroup root("", nullptr);
    StreamTypeCollectionGroup* const deep = root.AddGroup("a")->AddGroup("b");
    for (StreamTypeCollectionGroup* group : {&root, deep}) {
        group->Add("OnlyOne")->Add(Version(1, 0, 0));
        group->Add("Both")->Add(Version(1, 0, 0));
        group->Get("Both").Add(Version(2, 0, 0));
        group->Add("Other")->Add(Version(2, 0, 0));
        group->Add("Empty");
    }
    root.RemoveAllTypesOfVersion(Version(1, 0, 0));
    for (const StreamTypeCollectionGroup* group : {&root, deep}) {
        EXPECT_EQ(group->GetItemNames().size(), 2U);
        EXPECT_EQ(VersionsOf(group->Get("Both")), "2.0.0 ");
        EXPECT_EQ(VersionsOf(group->Get("Other")), "2.0.0 ");
    }
    // Groups stay, empty or not.
    root.RemoveAllTypesOfVersion(Version(2, 0, 0));
    EXPECT_TRUE(deep->IsEmpty());
    EXPECT_EQ(root.GetGroup("a").GetGroupPtr("b"), deep);
}

// ---- Repository ----

class StreamTypes : public testing::Test {
  protected:
    Poco::Logger& logger = Poco::Logger::get("types");
    StreamTypeRepository types{logger, '/'};
};

TEST_F(StreamTypes, BeginWithTheCollectionAny) {
    const StreamType& any = types["Any"].GetLatest();
    EXPECT_EQ(any.GetVersion(), Version::SmallestDelta());
    EXPECT_EQ(any.GetNumEntries(), 0);
    EXPECT_EQ(any.GetFullName(), "Any");
    EXPECT_EQ(any.GetHash().size(), 4U);
    EXPECT_TRUE(types.Remove("Any"));
    EXPECT_FALSE(types.Remove("Any"));
    StreamTypeRepository other(logger, '.');
    other.Clear();
    EXPECT_EQ(other.GetPtr("Any"), nullptr);
}

TEST_F(StreamTypes, AreAddressedByPath) {
    StreamTypeCollection* const pos = types.Add("a/b/Pos");
    EXPECT_EQ(pos->GetName(), "Pos");
    EXPECT_EQ(pos->GetFullName(), "a.b.Pos");
    EXPECT_EQ(pos->GetParent(), types.GetGroupPtr("a/b"));
    EXPECT_EQ(types.Add("a/b/Pos"), pos);
    EXPECT_EQ(types.GetPtr("a/b/Pos"), pos);
    EXPECT_EQ(&types.Get("a/b/Pos"), pos);
    EXPECT_EQ(types.GetPtr("a.b.Pos"), nullptr);
    EXPECT_EQ(types.Add(""), nullptr);
    EXPECT_EQ(types.AddGroup(""), nullptr);
    StreamTypeCollectionGroup* const c = types.AddGroup("a/c");
    EXPECT_EQ(c, types.GetGroupPtr("a/c"));
    EXPECT_EQ(types.GetGroupPtr("")->GetGroupPtr("a"), &types.GetGroup("a"));
    EXPECT_EQ(&types.GetGroup(""), types.GetGroupPtr(""));
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { types.Get("a/b"); }),
              "Item 'a/b' does not exist.");
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { types["a/b/x"]; }),
              "Item 'a/b/x' does not exist.");
    EXPECT_EQ(MessageOf<GroupNotFoundException>([&] { types.GetGroup("a/b/Pos"); }),
              "Group 'a/b/Pos' does not exist.");
    EXPECT_EQ(types.FindByFullName("a.b.Pos"), pos);
    EXPECT_EQ(types.FindByFullName("b.Pos"), nullptr);
    EXPECT_EQ(types.FindByFullName("a.b"), nullptr);
    StreamTypeCollection* const dotted = types.Add("x.y/z.");
    EXPECT_EQ(types.FindByFullName("x.y.z."), dotted);
    EXPECT_TRUE(types.Remove("a"));
    EXPECT_EQ(types.GetGroupPtr("a/b"), nullptr);
}

TEST_F(StreamTypes, SurviveOddSeparators) {
    // A separator at the end adds no component: this is the collection "a", not one in group "a".
    StreamTypeCollection* const a = types.Add("a");
    types.Add("a/x");
    EXPECT_EQ(types.Add("a/"), a);
    EXPECT_EQ(a->GetFullName(), "a");
    types.Add("b/x");
    StreamTypeCollection* const b = types.Add("b/");
    EXPECT_EQ(types.GetPtr("b"), b);
    EXPECT_TRUE(types.GetGroup("").RemoveGroup("a"));
    EXPECT_TRUE(types.GetGroup("").RemoveGroup("b"));
    EXPECT_EQ(a->GetFullName(), "a");
    EXPECT_EQ(b->GetParent(), types.GetGroupPtr(""));
    // Empty components are groups without a name.
    StreamTypeCollection* const inner = types.Add("c//Pos");
    EXPECT_EQ(types.GetGroup("c").GetGroup("").GetPtr("Pos"), inner);
    EXPECT_EQ(inner->GetFullName(), "c..Pos");
    EXPECT_EQ(types.FindByFullName("c..Pos"), inner);
    EXPECT_EQ(types.Add("c//")->GetFullName(), "c.");
    StreamTypeCollection* const outer = types.Add("/Pos");
    EXPECT_EQ(types.GetGroup("").GetGroup("").GetPtr("Pos"), outer);
    EXPECT_EQ(outer->GetFullName(), "Pos");
    EXPECT_EQ(types.FindByFullName("Pos"), outer);
    StreamTypeCollection* const unnamed = types.Add("/");
    EXPECT_EQ(types.GetGroup("").GetPtr(""), unnamed);
}

TEST_F(StreamTypes, TakeTheNameInANodeAsThePath) {
    const BuiltTree node({CollectionSpec("a/b/Pos", {TypeSpec("1.0.0")}), List("NoName", {})});
    StreamTypeCollection* const pos = types.Add(serializer, node.Root()["TypeCollection"]);
    EXPECT_EQ(types.GetGroup("a/b").GetPtr("Pos"), pos);
    EXPECT_EQ(pos->GetName(), "a/b/Pos");
    EXPECT_EQ(pos->GetFullName(), "a/b/Pos");
    EXPECT_EQ(types.Add(serializer, node.Root()["TypeCollection"]), pos);
    // Asked for by path, it gets the group as parent.
    EXPECT_EQ(types.Add("a/b/Pos"), pos);
    EXPECT_EQ(pos->GetFullName(), "a.b.a/b/Pos");
    const test::RootLoggerRecord log;
    EXPECT_THROW(types.Add(serializer, node.Root()["NoName"]), SerializationException);
}

TEST_F(StreamTypes, AreWrittenAndReadBack) {
    types.Add("plant/line.1/Pos")
        ->PushNew(Version(1, 0, 0))
        .Add("x", Double, 1)
        .Add("s", String, 0);
    types.Get("plant/line.1/Pos").PushNew(Version(0, 1, 0)).Add("flags", Bool, 1);
    types.Add("plant/Pos")->PushNew(Version(2, 0, 0));
    types.AddGroup("plant/empty");
    const std::string written = Written(types);
    EXPECT_EQ(
        written.rfind("/1(GroupSeparator/1=/ Group/1(Name/10= Groups/17(Group/1(Name/10=plant "
                      "Groups/17(Group/1(Name/10=empty Groups/17 TypeCollections/17) ",
                      0),
        0U)
        << written;
    const serialization::NodeTree tree;
    NodeRef root = tree.GetRoot();
    types.Serialize(serializer, root);
    const StreamTypeRepository read(logger, serializer, root);
    EXPECT_EQ(Written(read), written);
    EXPECT_EQ(read["plant/line.1/Pos"].Get(Version(1, 0, 0)).GetHash(),
              types["plant/line.1/Pos"].Get(Version(1, 0, 0)).GetHash());
    EXPECT_EQ(read["plant/line.1/Pos"].GetFullName(), "plant.line.1.Pos");
}

TEST_F(StreamTypes, ReadWhatANodeHas) {
    const BuiltTree node(
        {List("Empty", {}), List("Unreadable", {Value("GroupSeparator", "//")}),
         List("Full",
              {Value("GroupSeparator", ":"),
               GroupSpec("root",
                         {GroupSpec("a", {}, "TypeCollections",
                                    {CollectionSpec("Pos", {TypeSpec("1.0.0")})})},
                         "TypeCollections", {CollectionSpec("Any", {TypeSpec("9.0.0")})})})});
    const test::RootLoggerRecord log;
    for (const std::string name : {"Empty", "Unreadable"}) {
        StreamTypeRepository read(logger, serializer, node.Root()[name]);
        EXPECT_NE(read.GetPtr("Any"), nullptr);
        StreamTypeCollection* const b = read.Add("a.b");
        EXPECT_EQ(read.GetGroup("a").GetPtr("b"), b) << name;
    }
    const StreamTypeRepository read(logger, serializer, node.Root()["Full"]);
    EXPECT_NE(read.GetPtr("a:Pos"), nullptr);
    // The collection made at the start stays.
    EXPECT_EQ(VersionsOf(read["Any"]), "0.0.1 ");
    EXPECT_TRUE(log.Warnings().empty());
}

}  // namespace
}  // namespace velmora::core::tessaryn
