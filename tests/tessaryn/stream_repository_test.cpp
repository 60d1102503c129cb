// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_repository.h"

#include "support/groups.h"
#include "support/node_builder.h"
#include "support/root_logger.h"
#include "support/samples.h"
#include "support/subscribers.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using serialization::NodeRef;
using serialization::NodeTree;
using serialization::SerializationException;
using serialization::Serializer;
using test::BuiltTree;
using test::GroupSpec;
using test::List;
using test::MessageOf;
using test::NodeSpec;
using test::Value;
using test::Written;
using utils::Version;
using namespace std::string_literals;

const Serializer<NodeRef> serializer;

NodeSpec SampleSpec(const std::string& time, const std::vector<NodeSpec>& entries = {}) {
    return List("Sample", {Value("TimeStamp", time), List("Entries", entries)});
}

/// A stream of the type Pos, as `Stream` writes it, with a name for the group.
NodeSpec StreamSpec(const std::string& name, const std::vector<std::string>& times,
                    const std::string& maxSize = "9") {
    std::vector<NodeSpec> samples;
    for (const std::string& time : times)
        samples.push_back(SampleSpec(time));
    return List("Stream", {Value("Name", name), Value("Type", "a/Pos"), Value("MaxSize", maxSize),
                           List("Samples", samples)});
}

/// The times of all samples in storage order.
std::string TimesOf(const Stream& stream) {
    std::string times;
    stream.GetAll([&](const std::vector<Sample*>& samples) {
        for (const Sample* sample : samples)
            times += std::to_string(sample->GetTimeStamp().epochMicroseconds()) + " ";
    });
    return times;
}

class Streams : public testing::Test {
  protected:
    Streams() {
        types.Add("a/Pos")->Add(Version(1, 0, 0));
        pos = &types["a/Pos"].Add(Version(2, 0, 0));
        pos->Add("x", Int32, 1);
    }

    std::unique_ptr<Stream> Read(const std::vector<NodeSpec>& children) const {
        return std::make_unique<Stream>(serializer, BuiltTree(children).Root(), types);
    }

    test::RootLoggerRecord log;
    Poco::Logger& logger = Poco::Logger::get("streams");
    StreamTypeRepository types{logger, '/'};
    StreamType* pos = nullptr;
    StreamRepository streams{logger, '/'};
};

// ---- A stream from its node ----

TEST_F(Streams, KeepTheCapacityThatTheirNodeTells) {
    const std::string refused = "Value at position '/MaxSize' broke rule 'Is greater than 0'.";
    const auto unreadable = [&](const std::string& text) {
        return refused + " Reason: '" + text + "' is not a 32-bit signed integer.";
    };
    const struct {
        std::string text;
        std::string message;
    } cases[] = {
        {"1", ""},
        {"2147483647", ""},
        {"0", refused},
        {"-1", refused},
        {"-2147483648", refused},
        {"2147483648", unreadable("2147483648")},
        {"4294967297", unreadable("4294967297")},
        {"-2147483649", unreadable("-2147483649")},
        {"9x", unreadable("9x")},
        {"", unreadable("")},
    };
    for (const auto& [text, message] : cases) {
        const std::vector<NodeSpec> node = {Value("Type", "a/Pos"), Value("MaxSize", text)};
        if (message.empty()) {
            EXPECT_EQ(std::to_string(Read(node)->GetMaxSize()), text);
        } else {
            EXPECT_EQ(MessageOf<SerializationException>([&] { Read(node); }), message) << text;
        }
    }
    EXPECT_EQ(MessageOf<SerializationException>([&] { Read({Value("Type", "a/Pos")}); }), refused);
    EXPECT_EQ(log.Warnings().size(), 9U);
    EXPECT_EQ(log.Warnings().back(), refused);
}

TEST_F(Streams, FindTheirTypeByPathOrFullName) {
    types.Add("a.b/Pos")->Add(Version(3, 0, 0));
    StreamType& shadow = types.Add("a.Pos")->Add(Version(4, 0, 0));
    const auto typeOf = [&](const std::string& type, const std::string& version) {
        std::vector<NodeSpec> node = {Value("Type", type), Value("MaxSize", "1")};
        if (!version.empty())
            node.push_back(Value("TypeVersion", version));
        return Read(node)->GetStreamType();
    };
    EXPECT_EQ(typeOf("a/Pos", "1.0.0"), types["a/Pos"].GetPtr(Version(1, 0, 0)));
    for (const std::string version : {"", "2.0.0", "255.255.65535", "nonsense", "2.0"})
        EXPECT_EQ(typeOf("a/Pos", version), pos) << version;
    EXPECT_EQ(typeOf("a.b.Pos", ""), types["a.b/Pos"].GetLatestPtr());
    // A path that leads somewhere is taken before a full name that leads elsewhere.
    EXPECT_EQ(typeOf("a.Pos", ""), &shadow);
    types.Remove("a.Pos");
    EXPECT_EQ(typeOf("a.Pos", ""), pos);
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { typeOf("no/such", ""); }),
              "Item 'no/such' does not exist.");
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { typeOf("", ""); }), "Item '' does not exist.");
    EXPECT_EQ(MessageOf<utils::VersionedObjectNotFoundException>([&] { typeOf("a/Pos", "7.0.0"); }),
              "Version 7.0.0 does not exist in the collection StreamTypeCollection");
    EXPECT_EQ(MessageOf<SerializationException>([&] { Read({Value("MaxSize", "1")}); }),
              "Value at position '/Type' broke rule 'Is mandatory'.");
}

TEST_F(Streams, WrapErrorsOfTheirSamplesOnly) {
    const auto read = [&](const NodeSpec& entry) {
        Read({Value("Type", "a/Pos"), Value("MaxSize", "2"),
              List("Samples", {SampleSpec("1"), SampleSpec("2", {entry})})});
    };
    EXPECT_EQ(MessageOf<StreamCreateException>([&] {
                  read(List("Entry", {Value("Key", "y"), Value("Value", "1")}));
              }),
              "Could not create stream. Reason: Entry with name 'y' does not exist in stream type "
              "'Pos' with version '2.0.0'.");
    EXPECT_EQ(MessageOf<StreamCreateException>([&] { read(List("Entry", {Value("Key", "x")})); }),
              "Could not create stream. Reason: Value at position "
              "'/Samples/Sample[2]/Entries/Entry/Value' broke rule 'Is mandatory'.");
}

TEST_F(Streams, PushTheSamplesOfANodeIntoTheRing) {
    const auto node = [](const std::vector<NodeSpec>& samples) {
        return std::vector<NodeSpec>{Value("Type", "a/Pos"), Value("MaxSize", "2"),
                                     List("Samples", samples)};
    };
    EXPECT_TRUE(Read(node({}))->IsEmpty());
    const auto stream =
        Read(node({SampleSpec("11"), SampleSpec("12"), List("Else", {Value("TimeStamp", "13")}),
                   SampleSpec("14"), SampleSpec("15")}));
    EXPECT_EQ(TimesOf(*stream), "15 14 ");
    int notified = 0;
    stream->Subscribe(test::SubscriptionOf(1, [&](Stream&, SubscriptionArgs& args) {
        notified += args.changeType == pushed ? 1 : 0;
    }));
    const BuiltTree more(node({SampleSpec("16"), SampleSpec("17", {List("Entry", {})})}));
    // What was pushed before the failure stays, and other keys of the node are not looked at.
    EXPECT_THROW(stream->Fill(serializer, more.Root()), SerializationException);
    EXPECT_EQ(TimesOf(*stream), "15 16 ");
    EXPECT_EQ(notified, 1);
    stream->Fill(serializer, more.Root()["nosuch"]);
    EXPECT_EQ(notified, 1);
}

// ---- Groups ----

TEST_F(Streams, AreMadeOrFoundInTheirGroup) {
    StreamGroup group("g", nullptr);
    Stream* const first = group.AddStream("s", pos, 3);
    EXPECT_EQ(group.AddStream("s", nullptr, 7), first);
    EXPECT_EQ(first->GetMaxSize(), 3);
    EXPECT_THROW(group.AddStream("t", pos, 0), std::invalid_argument);
    EXPECT_THROW(group.AddStream("t", pos, 1L << 31), std::invalid_argument);
    EXPECT_EQ(group.GetStreamPtr("t"), nullptr);
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { group.GetStream("t"); }),
              "Item 't' does not exist.");
    const BuiltTree node({StreamSpec("s", {"1"}), List("NoName", {})});
    EXPECT_EQ(group.AddStream(serializer, node.Root()["Stream"], types), first);
    EXPECT_TRUE(first->IsEmpty());
    EXPECT_EQ(MessageOf<SerializationException>(
                  [&] { group.AddStream(serializer, node.Root()["NoName"], types); }),
              "Value at position '/NoName/Name' broke rule 'Is mandatory'.");
    group.Remove("s");
    EXPECT_EQ(TimesOf(*group.AddStream(serializer, node.Root()["Stream"], types)), "1 ");
}

TEST_F(Streams, OfFilledGroupsAreMergedFirstWins) {
    StreamGroup root("", nullptr);
    StreamGroup* const a = root.AddGroup("a");
    Stream* const kept = a->AddStream("s", pos, 5);
    const BuiltTree node(
        {GroupSpec("ignored",
                   {GroupSpec("a", {GroupSpec("deep", {}, "Streams", {StreamSpec("d", {"4"})})},
                              "Streams", {StreamSpec("s", {"1"}), StreamSpec("t", {"2", "3"})})},
                   "Streams",
                   {StreamSpec("twice", {"1"}), StreamSpec("twice", {"2"}),
                    StreamSpec("bad", {"1"}, "0"), StreamSpec("never", {})})});
    for (int time = 0; time < 2; ++time) {
        EXPECT_THROW(root.Fill(serializer, node.Root()["Group"], types), SerializationException);
        EXPECT_EQ(root.GetGroupPtr("a"), a);
        EXPECT_EQ(a->GetStreamPtr("s"), kept);
        EXPECT_TRUE(kept->IsEmpty());
        EXPECT_EQ(TimesOf(a->GetStream("t")), "2 3 ");
        EXPECT_EQ(TimesOf(a->GetGroup("deep").GetStream("d")), "4 ");
        EXPECT_EQ(a->GetGroup("deep").GetFullName(), "a.deep");
        EXPECT_EQ(root.GetItemNames(), std::vector<std::string>{"twice"});
        EXPECT_EQ(TimesOf(root.GetStream("twice")), "1 ");
    }
    EXPECT_THROW(StreamGroup(serializer, node.Root()["Group"], nullptr, types),
                 SerializationException);
}

TEST_F(Streams, TakeSamplesOnlyWhereTheyExist) {
    StreamGroup root("", nullptr);
    StreamGroup* const a = root.AddGroup("a");
    std::string notified;
    for (StreamGroup* group : {&root, a}) {
        group->AddStream("s", pos, 2)
            ->Subscribe(test::SubscriptionOf(1, [&](Stream&, SubscriptionArgs& args) {
                notified += args.changeType == pushed ? 'p' : '?';
            }));
    }
    // Nothing but names and samples is read: neither type nor capacity would do.
    const NodeSpec bare =
        List("Anything", {Value("Name", "s"), List("Samples", {SampleSpec("8")})});
    const BuiltTree node({GroupSpec(
        "", {GroupSpec("a", {}, "Streams", {bare}), GroupSpec("nosuch", {}, "Streams", {bare})},
        "Streams", {StreamSpec("s", {"1", "2", "3"}, "0"), StreamSpec("t", {"1"})})});
    root.AddSamplesToExistingStreams(serializer, node.Root()["Group"], types);
    EXPECT_EQ(notified, "pppp");
    EXPECT_EQ(TimesOf(root.GetStream("s")), "3 2 ");
    EXPECT_EQ(TimesOf(a->GetStream("s")), "8 ");
    EXPECT_EQ(root.GetGroupNames().size() + root.GetItemNames().size() + a->GetItemNames().size(),
              3U);
    root.AddSamplesToExistingStreams(serializer, node.Root()["nosuch"], types);
    EXPECT_EQ(notified, "pppp");
    const BuiltTree nameless({List("Streams", {List("Stream", {})})});
    EXPECT_THROW(root.AddSamplesToExistingStreams(serializer, nameless.Root(), types),
                 SerializationException);
}

TEST_F(Streams, TellWhichTypesAreInUse) {
    StreamTypeCollection& collection = types["a/Pos"];
    StreamType* const old = collection.GetPtr(Version(1, 0, 0));
    const auto inUse = [&] {
        return std::string(streams.IsStreamTypeInUse(old) ? "old " : "") +
               (streams.IsStreamTypeInUse(pos) ? "new " : "") +
               (streams.IsStreamTypeInUse(&collection) ? "any" : "");
    };
    EXPECT_EQ(inUse(), "");
    streams.AddStream("a/b/deep", pos, 1);
    EXPECT_EQ(inUse(), "new any");
    streams.AddStream("top", old, 1);
    EXPECT_EQ(inUse(), "old new any");
    EXPECT_FALSE(streams.IsStreamTypeInUse(&types["Any"]));
    streams.Remove("a/b/deep");
    EXPECT_EQ(inUse(), "old any");
    // The same layout in another object is another type.
    StreamType copy(*old);
    EXPECT_FALSE(streams.IsStreamTypeInUse(&copy));
}

// ---- Repository ----

TEST_F(Streams, AreAddressedByPath) {
    EXPECT_TRUE(streams.IsEmpty());
    Stream* const temp = streams.AddStream("plant/line1/temp", pos, 4);
    EXPECT_FALSE(streams.IsEmpty());
    EXPECT_EQ(streams.GetStreamPtr("plant/line1/temp"), temp);
    EXPECT_EQ(&streams.GetStream("plant/line1/temp"), temp);
    EXPECT_EQ(&streams["plant/line1/temp"], temp);
    EXPECT_EQ(streams.GetStreamPtr("plant.line1.temp"), nullptr);
    EXPECT_EQ(streams.GetGroup("plant/line1").GetFullName(), "plant.line1");
    EXPECT_EQ(streams.GetGroupPtr(""), &streams.GetRoot());
    EXPECT_EQ(&streams.GetGroup(""), &streams.GetRoot());
    EXPECT_EQ(streams.AddGroup(""), nullptr);
    EXPECT_EQ(streams.AddGroup("plant/line1"), streams.GetGroupPtr("plant/line1"));
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { streams.GetStream("plant/line1"); }),
              "Item 'plant/line1' does not exist.");
    EXPECT_EQ(MessageOf<ItemNotFoundException>([&] { streams[""]; }), "Item '' does not exist.");
    EXPECT_EQ(MessageOf<GroupNotFoundException>([&] { streams.GetGroup("plant/x/y"); }),
              "Group 'plant/x/y' does not exist.");
    streams.AddStream("plant", pos, 1);
    EXPECT_TRUE(streams.Remove("plant"));
    EXPECT_EQ(streams.GetStreamPtr("plant/line1/temp"), temp);
    EXPECT_TRUE(streams.Remove("plant"));
    EXPECT_TRUE(streams.IsEmpty());
    EXPECT_FALSE(streams.Remove("plant") || streams.Remove("") || streams.Remove("/"));
    streams.AddGroup("a");
    EXPECT_FALSE(streams.IsEmpty());
    streams.Clear();
    EXPECT_TRUE(streams.IsEmpty());
}

TEST_F(Streams, AreOwnedFromTheCallOn) {
    using Counted = test::Counted<Stream>;
    const auto make = [&] { return new Counted(pos, 1L); };
    EXPECT_EQ(streams.AddStream("", make()), nullptr);
    EXPECT_EQ(Counted::live, 0);
    Counted* const stored = make();
    EXPECT_EQ(streams.AddStream("a/s", stored), stored);
    EXPECT_EQ(streams.AddStream("a/s", make()), stored);
    EXPECT_EQ(Counted::live, 1);
    EXPECT_EQ(streams.AddStream("", pos, 1), nullptr);
    EXPECT_THROW(streams.AddStream("b/s", pos, 0), std::invalid_argument);
    const BuiltTree node(
        {StreamSpec("c/s", {"1"}), StreamSpec("", {}), List("Bad", {Value("Name", "c/t")})});
    EXPECT_EQ(TimesOf(*streams.AddStream(serializer, node.Root()["Stream"], types)), "1 ");
    EXPECT_NE(streams.GetStreamPtr("c/s"), nullptr);
    EXPECT_EQ(streams.AddStream(serializer, node.Root().GetNodes()[1], types), nullptr);
    EXPECT_THROW(streams.AddStream(serializer, node.Root()["Bad"], types), SerializationException);
    EXPECT_EQ(streams.GetStreamPtr("c/t"), nullptr);
    streams.Clear();
    EXPECT_EQ(Counted::live, 0);
}

/// Fills a sample of the type with all value types; some of the text is no text at all.
void FillSample(Sample& sample, int number) {
    const auto set = [&](const std::string& entry, unsigned index, auto value) {
        sample.Set(sample.EntryId(entry), index, value);
    };
    for (unsigned i = 0; i < 2; ++i) {
        set("i8", i, static_cast<char>(-128 + number));
        set("i16", i, static_cast<short>(-300 * number));
        set("i32", i, std::numeric_limits<int>::min() + number);
        set("i64", i, std::numeric_limits<long long>::min() + number);
        set("u8", i, static_cast<unsigned char>(255 - number));
        set("u16", i, static_cast<unsigned short>(65535 - number));
        set("u32", i, std::numeric_limits<unsigned>::max() - static_cast<unsigned>(number));
        set("u64", i,
            std::numeric_limits<unsigned long long>::max() -
                static_cast<unsigned long long>(number));
        set("f", i, 0.25F * static_cast<float>(number));
        set("d", i, -1e300 * number);
        set("b", i, (number + static_cast<int>(i)) % 2 == 0);
    }
    std::string bytes;
    for (int c = 0; c < 256; ++c)
        bytes += static_cast<char>(c + number);
    if (sample.GetStreamType()->EntryExists("s"))
        sample.Set(sample.EntryId("s"), bytes);
}

StreamType& AddAllTypes(StreamTypeCollection& collection, bool withText) {
    StreamType& type = collection.PushNew(Version(1, 0, 0));
    for (const auto& [name, valueType] : {std::pair<std::string, BaseType>("i8", Int8),
                                          {"i16", Int16},
                                          {"i32", Int32},
                                          {"i64", Int64},
                                          {"u8", UInt8},
                                          {"u16", UInt16},
                                          {"u32", UInt32},
                                          {"u64", UInt64},
                                          {"f", Float},
                                          {"d", Double},
                                          {"b", Bool}})
        type.Add(name, valueType, 2);
    if (withText)
        type.Add("s", String, 0);
    return type;
}

TEST_F(Streams, AreWrittenAndReadBackEntryByEntry) {
    types.Add("p.q//All");
    StreamType& all = AddAllTypes(types["p.q//All"], true);
    StreamType& numbers = AddAllTypes(*types.Add("Numbers"), false);
    streams.AddGroup("empty/below");
    streams.AddStream("/unnamed/", pos, 1);
    const auto push = [](Stream& stream, int count) {
        for (int i = 1; i <= count; ++i)
            stream.PushNew([&](Sample& sample) { FillSample(sample, i); });
    };
    push(*streams.AddStream("a/b/numbers", &numbers, 3), 5);
    push(*streams.AddStream("a/all", &all, 3), 5);
    push(*streams.AddStream("a/all.2", &all, 9), 2);

    const NodeTree tree;
    NodeRef root = tree.GetRoot();
    NodeRef typeNode = root.AddNode("StreamTypeRepository", serialization::NodeElement);
    NodeRef streamNode = root.AddNode("StreamRepository", serialization::NodeElement);
    types.Serialize(serializer, typeNode);
    streams.Serialize(serializer, streamNode);
    const StreamTypeRepository readTypes(logger, serializer, typeNode);
    const StreamRepository read(logger, serializer, streamNode, readTypes);

    for (const std::string path : {"a/b/numbers", "a/all", "a/all.2", "/unnamed"}) {
        const Stream& before = streams.GetStream(path);
        const Stream& after = read.GetStream(path);
        EXPECT_EQ(after.GetMaxSize(), before.GetMaxSize());
        EXPECT_EQ(after.GetStreamType()->GetFullName(), before.GetStreamType()->GetFullName());
        EXPECT_NE(after.GetStreamType(), before.GetStreamType());
        std::vector<std::string> contents;
        before.GetAll([&](const std::vector<Sample*>& samples) {
            for (const Sample* sample : samples)
                contents.push_back(test::BinaryOf(*sample));
        });
        after.GetAll([&](const std::vector<Sample*>& samples) {
            ASSERT_EQ(samples.size(), contents.size()) << path;
            for (std::size_t i = 0; i < samples.size(); ++i)
                EXPECT_EQ(test::BinaryOf(*samples[i]), contents[i]) << path << i;
        });
    }
    EXPECT_EQ(read.GetGroup("empty/below").GetFullName(), "empty.below");
    // Storage order is the order of pushing now: what was in the highest slot is the newest.
    EXPECT_EQ(TimesOf(read["a/b/numbers"]), TimesOf(streams["a/b/numbers"]));
    const auto newest = [](const Stream& stream) {
        int number = 0;
        stream.GetLatest([&](const Sample& sample) { number = sample.GetInt8(0, 0) + 128; });
        return number;
    };
    EXPECT_EQ(newest(streams["a/b/numbers"]), 5);
    EXPECT_EQ(newest(read["a/b/numbers"]), 3);
    // But for the times of samples that hold text, which are those of reading.
    EXPECT_EQ(Written(read.GetGroup("a/b")), Written(streams.GetGroup("a/b")));
    EXPECT_EQ(Written(readTypes), Written(types));
    EXPECT_EQ(Written(read).rfind("/1(GroupSeparator/1=/ Group/1", 0), 0U);
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

TEST_F(Streams, ReadWhatANodeHas) {
    const BuiltTree node(
        {List("Empty", {}), List("Unreadable", {Value("GroupSeparator", "")}),
         List("Bad", {Value("GroupSeparator", ":"),
                      GroupSpec("", {}, "Streams",
                                {StreamSpec("s", {"1"}), StreamSpec("t", {"x"}, "x")})})});
    for (const std::string name : {"Empty", "Unreadable"}) {
        StreamRepository read(logger, serializer, node.Root()[name], types);
        EXPECT_TRUE(read.IsEmpty());
        Stream* const stream = read.AddStream("a.b", pos, 1);
        EXPECT_EQ(read.GetGroup("a").GetStreamPtr("b"), stream) << name;
    }
    EXPECT_THROW(StreamRepository(logger, serializer, node.Root()["Bad"], types),
                 SerializationException);
    EXPECT_THROW(streams.Fill(serializer, node.Root()["Bad"], types), SerializationException);
    EXPECT_EQ(streams.GetRoot().GetItemNames(), std::vector<std::string>{"s"});
}

}  // namespace
}  // namespace velmora::core::tessaryn
