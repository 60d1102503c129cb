// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_repository.h"

#include "support/documents.h"
#include "support/node_builder.h"
#include "support/path_model.h"
#include "support/random.h"
#include "support/subscribers.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>
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
using serialization::Serializer;
using utils::Version;
using namespace std::string_literals;

const Serializer<NodeRef> serializer;

NodeSpec SampleSpec(const std::string& time, const std::vector<NodeSpec>& entries = {}) {
    return List("Sample", {Value("TimeStamp", time), List("Entries", entries)});
}

// A stream of the type Pos, as `Stream` writes it, with a name for the group.
NodeSpec StreamSpec(const std::string& name, const std::vector<std::string>& times,
                    const std::string& maxSize = "9") {
    std::vector<NodeSpec> samples;
    for (const std::string& time : times) {
        samples.push_back(SampleSpec(time));
    }
    return List("Stream", {Value("Name", name), Value("Type", "a/Pos"), Value("MaxSize", maxSize),
                           List("Samples", samples)});
}

// The times of all samples in storage order.
std::string TimesOf(const Stream& stream) {
    std::string times;
    stream.GetAll([&](const std::vector<Sample*>& samples) {
        for (const Sample* sample : samples) {
            times += std::to_string(sample->GetTimeStamp().epochMicroseconds()) + " ";
        }
    });
    return times;
}

class StreamTypes : public testing::Test {
  protected:
    Poco::Logger& logger = Poco::Logger::get("repositories");
    StreamTypeRepository types{logger, '/'};
};

class Streams : public StreamTypes {
  protected:
    Streams() {
        types.Add("a/Pos")->Add(Version(1, 0, 0));
        pos = &types["a/Pos"].Add(Version(2, 0, 0));
        pos->Add("x", Int32, 1);
    }

    std::unique_ptr<Stream> ReadStream(const std::vector<NodeSpec>& children) const {
        return std::make_unique<Stream>(serializer, BuiltTree(children).Root(), types);
    }

    StreamType* pos = nullptr;
    StreamRepository streams{logger, '/'};
};

// ---- Groups of any items ----

TEST(Groups, BehaveAsATreeOfLists) {
    Random random;
    for (const char separator : {'.', '/', 'a', '\0', '\xff'}) {
        ModelledRepo modelled(separator, random);
        for (int step = 0; step < 1500 && !HasFailure(); ++step) {
            modelled.Step();
        }
    }
    EXPECT_EQ(HostItem::live + HostGroup::live, 0);
}

TEST(Groups, TakeAChildOnlyWhenItsNameIsFree) {
    HostGroup group("g");
    const auto makeItem = [] { return std::make_unique<HostItem>(); };
    // The name under which a group is kept is the one given with it; its own separator joins.
    const auto makeGroup = [&] { return std::make_unique<HostGroup>("other", &group, ':'); };
    HostItem* const item = group.AddItem("x", makeItem());
    HostGroup* const below = group.AddGroup("x", makeGroup());
    EXPECT_EQ(below->GetFullName(), "g:other");
    auto otherItem = makeItem();
    auto otherGroup = makeGroup();
    EXPECT_EQ(group.AddItem("x", std::move(otherItem)), item);
    EXPECT_EQ(group.AddGroup("x", std::move(otherGroup)), below);
    ASSERT_TRUE(otherItem != nullptr && otherGroup != nullptr);
    EXPECT_EQ(group.AddItemMove("x", std::move(otherItem)), item);
    EXPECT_EQ(group.AddGroupMove("x", std::move(otherGroup)), below);
    EXPECT_EQ(HostItem::live + HostGroup::live, 1 + 2);
    HostItem* const secondItem = group.AddItemMove("y", makeItem());
    HostGroup* const secondGroup = group.AddGroupMove("y", makeGroup());
    EXPECT_TRUE(group.GetItemPtr("y") == secondItem && group.GetGroupPtr("y") == secondGroup);
    EXPECT_EQ(group.GetAllItemPtrs().size() + group.GetAllGroupPtrs().size(), 4U);
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { group.GetItem("a 'b'"); }),
              "Item 'a 'b'' does not exist.");
    EXPECT_EQ(MessageOf<GroupNotFoundException>([&] { group.GetGroup(""); }),
              "Group '' does not exist.");
    EXPECT_TRUE(group.RemoveGroup("x") && !group.RemoveGroup("x") && group.ItemExists("x"));
    EXPECT_TRUE(group.RemoveItem("y") && !group.RemoveItem("y") && group.GroupExists("y"));
}

// ---- Stream types ----

TEST_F(StreamTypes, AreNamedByTheirCollectionAndKeepTheirOwnVersion) {
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

TEST_F(StreamTypes, AreRefusedWithACollectionThatLacksSomething) {
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

TEST_F(StreamTypes, AreRemovedByVersionEverywhereBelow) {
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

TEST_F(StreamTypes, AreMergedIntoWhatIsThereUntilReadingFails) {
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

TEST_F(StreamTypes, AreFoundByPathOrFullName) {
    EXPECT_EQ(types["Any"].GetLatest().GetVersion(), Version::SmallestDelta());
    EXPECT_EQ(types["Any"].GetLatest().GetNumEntries(), 0);
    const std::pair<std::string, std::string> cases[] = {{"a/b/Pos", "a.b.Pos"},
                                                         {"c//Pos", "c..Pos"},
                                                         {"c//", "c."},
                                                         {"x.y/z.", "x.y.z."},
                                                         {"/", ""}};
    for (const auto& [path, fullName] : cases) {
        StreamTypeCollection* const added = types.Add(path);
        EXPECT_EQ(types.Add(path), added);
        EXPECT_EQ(added->GetFullName(), fullName);
        EXPECT_EQ(types.FindByFullName(fullName), added) << path;
    }
    EXPECT_TRUE(types.FindByFullName("b.Pos") == nullptr && types.GetPtr("a.b.Pos") == nullptr);
    EXPECT_TRUE(types.Add("") == nullptr && types.AddGroup("") == nullptr);
    // A text of many dots takes no longer than others.
    const std::string manyDots(200'000, '.');
    StreamTypeCollection* const dotted = types.Add("c/" + manyDots + "/Pos");
    EXPECT_EQ(types.FindByFullName(dotted->GetFullName()), dotted);
    EXPECT_EQ(types.FindByFullName("c" + manyDots + "Pos"), nullptr);
    EXPECT_THROW(types["a/b"], ItemNotFoundException);
    // The name in a node is the path.
    const BuiltTree node({CollectionSpec("d/Pos", {})});
    StreamTypeCollection* const read = types.Add(serializer, node.Root()["TypeCollection"]);
    EXPECT_EQ(read->GetFullName(), "d/Pos");
    // Asked for by path, it gets the group as parent.
    EXPECT_EQ(types.Add("d/Pos"), read);
    EXPECT_EQ(read->GetFullName(), "d.d/Pos");
    EXPECT_EQ(&types.Get("d/Pos"), read);
    EXPECT_THROW(types.GetGroup("a/b/Pos"), GroupNotFoundException);
    types.Clear();
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { types.Get("Any"); }),
              "Item 'Any' does not exist.");
}

TEST_F(StreamTypes, AreResolvedByPathBeforeFullName) {
    StreamTypeCollection* const byPath = types.Add("a.b.Pos");
    StreamTypeCollection* const below = types.Add("a/b/Pos");
    EXPECT_EQ(&types.Resolve("a/b/Pos"), below);
    EXPECT_EQ(&types.Resolve("a.b.Pos"), byPath);
    types.Remove("a.b.Pos");
    EXPECT_EQ(&types.Resolve("a.b.Pos"), below);
    EXPECT_EQ(types.ResolvePtr("b.Pos"), nullptr);
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { types.Resolve("b.Pos"); }),
              "Item 'b.Pos' does not exist.");
}

TEST_F(StreamTypes, ReadTheSeparatorOfANode) {
    for (const std::string text : {"", "//", ":"}) {
        const BuiltTree node({Value("GroupSeparator", text)});
        StreamTypeRepository read(logger, serializer, node.Root());
        EXPECT_EQ(read.Add("a:b.c")->GetFullName(), text == ":" ? "a.b.c" : "a:b.c");
        EXPECT_NE(read.GetGroupPtr(text == ":" ? "a" : "a:b"), nullptr) << text;
    }
}

// ---- A stream from its node ----

TEST_F(Streams, KeepTheCapacityThatTheirNodeTells) {
    const std::string refused = "Value at position '/MaxSize' broke rule 'Is greater than 0'.";
    for (const std::string text :
         {"1", "2147483647", "0", "-1", "2147483648", "4294967297", "9x", ""}) {
        const std::vector<NodeSpec> node = {Value("Type", "a/Pos"), Value("MaxSize", text)};
        const bool fits = text == "1" || text == "2147483647";
        const bool readable = text == "0" || text == "-1";
        const std::string reason = " Reason: '" + text + "' is not a 32-bit signed integer.";
        std::string message = fits ? text : readable ? refused : refused + reason;
        EXPECT_EQ(MessageOf<SerializationException>([&] {
                      throw SerializationException(std::to_string(ReadStream(node)->GetMaxSize()));
                  }),
                  message);
    }
    EXPECT_EQ(MessageOf<SerializationException>([&] { ReadStream({Value("Type", "a/Pos")}); }),
              refused);
}

TEST_F(Streams, FindTheirTypeByPathOrFullName) {
    StreamType& shadow = types.Add("a.Pos")->Add(Version(4, 0, 0));
    const auto typeOf = [&](const std::string& type, const std::string& version) {
        return ReadStream(
                   {Value("Type", type), Value("MaxSize", "1"), Value("TypeVersion", version)})
            ->GetStreamType();
    };
    EXPECT_EQ(typeOf("a/Pos", "1.0.0"), types["a/Pos"].GetPtr(Version(1, 0, 0)));
    for (const std::string version : {"2.0.0", "255.255.65535", "nonsense", "2.0"}) {
        EXPECT_EQ(typeOf("a/Pos", version), pos) << version;
    }
    // A path that leads somewhere is taken before a full name that leads elsewhere.
    EXPECT_EQ(typeOf("a.Pos", ""), &shadow);
    types.Remove("a.Pos");
    EXPECT_EQ(typeOf("a.Pos", ""), pos);
    EXPECT_THROW(typeOf("no/such", ""), ItemNotFoundException);
    EXPECT_THROW(typeOf("a/Pos", "7.0.0"), utils::VersionedObjectNotFoundException);
    EXPECT_EQ(MessageOf<SerializationException>([&] { ReadStream({Value("MaxSize", "1")}); }),
              "Value at position '/Type' broke rule 'Is mandatory'.");
}

TEST_F(Streams, PushTheSamplesOfANodeAndWrapTheirErrors) {
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

// ---- Groups ----

TEST_F(Streams, OfANodeAreMergedFirstWinsOrGiveSamplesToThoseThatExist) {
    const BuiltTree node(
        {GroupSpec("ignored",
                   {GroupSpec("a", {GroupSpec("deep", {}, "Streams", {StreamSpec("d", {"4"})})},
                              "Streams", {StreamSpec("s", {"1"}), StreamSpec("t", {"2", "3"})})},
                   "Streams",
                   {StreamSpec("twice", {"1"}), StreamSpec("twice", {"2"}),
                    StreamSpec("bad", {"5"}, "0"), StreamSpec("never", {})})});
    const NodeRef groupNode = node.Root()["Group"];
    StreamGroup root("", nullptr);
    Stream* const kept = root.AddGroup("a")->AddStream("s", pos, 5);
    for (int time = 0; time < 2; ++time) {
        EXPECT_THROW(root.Fill(serializer, groupNode, types), SerializationException);
        EXPECT_EQ(root.GetGroup("a").GetStreamPtr("s"), kept);
        EXPECT_TRUE(kept->IsEmpty());
        EXPECT_EQ(TimesOf(root.GetGroup("a").GetStream("t")), "2 3 ");
        EXPECT_EQ(TimesOf(root.GetGroup("a").GetGroup("deep").GetStream("d")), "4 ");
        EXPECT_EQ(root.GetItemNames(), std::vector<std::string>{"twice"});
        EXPECT_EQ(TimesOf(root.GetStream("twice")), "1 ");
    }

    // Nothing but names and samples is read: the capacity of "bad" wouldn't do.
    StreamGroup other("", nullptr);
    int notified = 0;
    for (Stream* stream :
         {other.AddGroup("a")->AddStream("t", pos, 1), other.AddStream("bad", pos, 1)}) {
        stream->Subscribe(SubscriptionOf(1, [&](Stream&, SubscriptionArgs&) { ++notified; }));
    }
    other.AddSamplesToExistingStreams(serializer, groupNode, types);
    EXPECT_EQ(notified, 3);
    EXPECT_EQ(TimesOf(other.GetGroup("a").GetStream("t")), "3 ");
    EXPECT_EQ(TimesOf(other.GetStream("bad")), "5 ");
    EXPECT_EQ(other.GetItemNames().size() + other.GetGroup("a").GetItemNames().size(), 2U);
    EXPECT_TRUE(other.GetGroup("a").GetGroupNames().empty());
}

TEST_F(Streams, TellWhichTypesAreInUse) {
    StreamType* const old = types["a/Pos"].GetPtr(Version(1, 0, 0));
    const auto inUse = [&] {
        return std::string(streams.IsStreamTypeInUse(old) ? "old " : "") +
               (streams.IsStreamTypeInUse(pos) ? "new " : "") +
               (streams.IsStreamTypeInUse(&types["a/Pos"]) ? "any" : "");
    };
    EXPECT_EQ(inUse(), "");
    streams.AddStream("a/b/deep", pos, 1);
    EXPECT_EQ(inUse(), "new any");
    streams.AddStream("top", old, 1);
    streams.Remove("a/b/deep");
    EXPECT_EQ(inUse(), "old any");
    // The same layout in another object is another type.
    StreamType copy(*old);
    EXPECT_FALSE(streams.IsStreamTypeInUse(&copy) || streams.IsStreamTypeInUse(&types["Any"]));
}

// ---- Repository ----

struct CountedStream : Stream, LiveCount<CountedStream> {
    using Stream::Stream;
};

TEST_F(Streams, AreOwnedFromTheCallOn) {
    const auto make = [&] { return new CountedStream(pos, 1L); };
    EXPECT_EQ(streams.AddStream("", make()), nullptr);
    EXPECT_EQ(CountedStream::live, 0);
    CountedStream* const stored = make();
    EXPECT_EQ(streams.AddStream("plant/s", stored), stored);
    EXPECT_EQ(streams.AddStream("plant/s", make()), stored);
    EXPECT_EQ(streams.AddStream("plant/s", nullptr, 7), stored);
    EXPECT_EQ(CountedStream::live, 1);
    EXPECT_THROW(streams.AddStream("b/s", pos, 0), std::invalid_argument);
    EXPECT_EQ(streams.GetStreamPtr("b/s"), nullptr);
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

TEST_F(Streams, AreWrittenAndReadBackEntryByEntry) {
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

TEST_F(Streams, WriteThisLayout) {
    streams.AddStream("g/s", pos, 2);
    const BuiltTree samples(
        {List("Samples",
              {SampleSpec("7", {List("Entry", {Value("Key", "x"), Value("Value", "-5;6;")})})})});
    streams["g/s"].Fill(serializer, samples.Root());
    EXPECT_EQ(Written(streams),
              "/1(GroupSeparator/1=/ Group/1(Name/10= Groups/17(Group/1(Name/10=g Groups/17 "
              "Streams/17(Stream/1(Name/2=s Type/2=a.Pos TypeVersion/2=2.0.0 MaxSize/2=2 "
              "Samples/17(Sample/1(TimeStamp/2=7 Entries/17(Entry/1(Key/2=x Value/2=-5;6)))))))) "
              "Streams/17))"s);
}

}  // namespace
}  // namespace velmora::core::tessaryn
