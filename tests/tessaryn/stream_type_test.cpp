// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_type.h"

#include "support/node_builder.h"
#include "support/samples.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"

#include <Poco/AutoPtr.h>
#include <Poco/Checksum.h>
#include <Poco/FormattingChannel.h>
#include <Poco/Logger.h>
#include <Poco/PatternFormatter.h>
#include <Poco/StreamChannel.h>
#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using serialization::NodeRef;
using serialization::SerializationException;
using serialization::Serializer;
using utils::Version;

void ExpectOffsets(const StreamType& type, const std::vector<unsigned int>& offsets) {
    EXPECT_EQ(type.GetMemOffsetLookup(), offsets);
    EXPECT_EQ(type.GetNumEntries(), offsets.size() - 1);
    EXPECT_EQ(type.GetInitialMemSizeInBytes(), offsets.back());
}

TEST(StreamTypeLayout, PacksEntriesWithoutPaddingAndWrapsAt32Bits) {
    struct Row {
        std::initializer_list<SampleEntry> entries;
        std::vector<unsigned int> offsets;
        bool holdsSamples;
    };
    const Row table[] = {
        {{}, {0}, true},
        {{{"a", Int32, 1}, {"b", Double, 2}, {"c", String, 10}}, {0, 4, 20, 30}, true},
        {{{"a", Int32, 0}, {"b", UInt16, 3}, {"c", Bool, 1}}, {0, 0, 6, 7}, true},
        {{{"a", Double, 0x20000000}, {"b", Int8, 3}}, {0, 0, 3}, false},
        {{{"a", String, 0xFFFFFFFF}, {"b", Int16, 1}}, {0, 0xFFFFFFFF, 1}, false},
        {{{"a", Double, 0xFFFFFFFF}, {"b", Int8, 8}}, {0, 0xFFFFFFF8, 0}, false}};
    for (const Row& row : table) {
        TestType longer({{"first", Double, 5}});
        for (const SampleEntry& entry : row.entries) {
            longer.type.Add(entry.key, entry.type, entry.initialSize);
        }
        longer.type.Remove(0);
        TestType layout(row.entries);
        StreamType copy(layout.type);
        StreamType assigned;
        assigned.Add("gone", Double, 7);
        assigned = layout.type;
        EXPECT_FALSE(assigned.EntryExists("gone"));
        for (StreamType* type : {&layout.type, &longer.type, &copy, &assigned}) {
            ExpectOffsets(*type, row.offsets);
            EXPECT_EQ(type->GetEntryNames(), layout.type.GetEntryNames());
            EXPECT_EQ(type->GetFullName() + type->GetVersion().ToString(), "Root.Pos1.0.0");
            if (row.holdsSamples) {
                EXPECT_NO_THROW(Sample(type, Poco::Timestamp()));
            } else {
                EXPECT_THROW(Sample(type, Poco::Timestamp()), std::length_error);
            }
        }
    }
}

TEST(StreamTypeEntries, AreFoundByNameRenumberedOnRemovalAndRefusedWithoutAChange) {
    TestType layout({{"a", Int32, 1}, {"A", Double, 2}, {"c", String, 0}});
    StreamType& type = layout.type;
    type.Remove(0);
    EXPECT_EQ(type.EntryId("c"), 1);
    EXPECT_EQ(type.GetType(0), Double);
    EXPECT_EQ(MessageOf<std::out_of_range>([&] { type.GetEntry(2); }),
              "invalid vector<T> subscript");
    EXPECT_EQ(MessageOf<EntryNotFoundException>([&] { type.EntryId("a"); }),
              "Entry with name 'a' does not exist in stream type 'Pos' with version '1.0.0'.");
    EXPECT_EQ(
        MessageOf<EntryNotFoundException>([] { StreamType().EntryId("%s"); }),
        "Entry with name '%s' does not exist in stream type '' with version '255.255.65535'.");
    EXPECT_EQ(&type.Add("a", Int8, 1), &type);
    EXPECT_EQ(type.EntryId("a"), 2);

    const std::string hash = type.GetHash();
    for (const auto& [key, base] : {std::pair("a", Double), {"", Int32}, {"b", UnknownType}}) {
        EXPECT_EQ(MessageOf<std::invalid_argument>([&] { type.Add(key, base, 1); }),
                  std::string("Could not create entry with the given arguments: Key: '") + key +
                      "', base type: '" + ToString(base) + "'");
    }
    for (const unsigned short id : std::initializer_list<unsigned short>{3, 65535}) {
        EXPECT_EQ(MessageOf<std::out_of_range>([&] { type.Remove(id); }),
                  "Entry " + std::to_string(id) +
                      " does not exist in stream type 'Pos' with version '1.0.0'.");
    }
    ExpectOffsets(type, {0, 16, 16, 17});
    EXPECT_EQ(type.GetHash(), hash);
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { StreamType(Version(1, 0, 0), nullptr); }),
              "StreamType must have a valid parent object.");
}

TEST(StreamTypeLayout, IsTheSameForEqualNamesAndValueTypesInEqualOrder) {
    const TestType layout({{"a", Int32, 1}, {"b", Double, 2}});
    struct Row {
        const char* name;
        std::initializer_list<SampleEntry> entries;
        bool isSame;
    };
    const Row rows[] = {{"other sizes", {{"a", Int32, 7}, {"b", Double, 0}}, true},
                        {"another value type", {{"a", UInt32, 1}, {"b", Double, 2}}, false},
                        {"another name", {{"a", Int32, 1}, {"c", Double, 2}}, false},
                        {"another order", {{"b", Double, 2}, {"a", Int32, 1}}, false},
                        {"fewer", {{"a", Int32, 1}}, false},
                        {"more", {{"a", Int32, 1}, {"b", Double, 2}, {"c", Int8, 1}}, false}};
    for (const Row& row : rows) {
        const TestType other(row.entries, "Other", {7, 0, 0});
        EXPECT_EQ(layout.type.HasSameLayout(other.type), row.isSame) << row.name;
    }
}

TEST(StreamTypeEntries, AreCountedBeyond16Bits) {
    TestType layout({});
    StreamType& type = layout.type;
    for (unsigned i = 0; i < 65535; ++i) {
        type.Add(std::to_string(i), Int8, 1);
    }
    const std::string hash = type.GetHash();
    EXPECT_THROW(type.Add("one more", Int8, 1), std::length_error);
    EXPECT_EQ(type.GetNumEntries(), 65535);
    EXPECT_EQ(type.GetHash(), hash);
    EXPECT_FALSE(type.EntryExists("one more"));
    Sample sample(&type, Poco::Timestamp());
    sample.Resize(type.EntryId("65534"), 2);
    EXPECT_EQ(Sample(sample).GetSerializedSizeInBytes(), 65536U * 4 + 65536U);
}

// The layout's hash, worked out from its text.
std::string HashOf(const std::string& version, const std::vector<std::string>& keys) {
    std::string text = "Version  " + version;
    for (const std::string& key : keys) {
        text += " Key  " + key + " TypeId [ERRFMT]";
    }
    Poco::Checksum checksum(Poco::Checksum::TYPE_ADLER32);
    checksum.update(text);
    return BytesOf(checksum.checksum());
}

TEST(StreamTypeHash, IsTheChecksumOfVersionAndKeys) {
    EXPECT_EQ(TestType({}).type.GetHash(), "\x14\x04\x06\x24");
    EXPECT_EQ(TestType({{"a", Int32, 1}}).type.GetHash(), "\x15\x0B\x58\xD3");
    EXPECT_EQ(TestType({{"a", String, 9}}, "Other").type.GetHash(), "\x15\x0B\x58\xD3");

    std::vector<std::string> odd = {"%s", std::string("n\0l", 3), "%", "\xFF", " Key  ", "a"};
    TestType layout({}, "Pos", {3, 4, 5});
    for (const std::string& key : odd) {
        layout.type.Add(key, Double, 2);
    }
    EXPECT_EQ(layout.type.GetHash(), HashOf("3.4.5", odd));
    EXPECT_EQ(StreamType(layout.type).GetHash(), HashOf("3.4.5", odd));
    layout.type.Remove(1);
    odd.erase(odd.begin() + 1);
    EXPECT_EQ(layout.type.GetHash(), HashOf("3.4.5", odd));
}

TEST(StreamTypeHash, AcceptsTheFixedVersionsOfWellKnownTypesOnly) {
    struct Row {
        const char* name;
        bool isWellKnown;
    };
    const Row rows[] = {{"ClientInfo", true},    {"DataPoint", true},   {"Command", true},
                        {"CommandResult", true}, {"ProxyParams", true}, {"ConnectionStatus", true},
                        {"Pos", false},          {"command", false},    {"Command ", false}};
    for (const auto& [name, isWellKnown] : rows) {
        SCOPED_TRACE(name);
        const TestType layout({{"x", Int32, 1}, {"y", Int32, 1}}, name, {1, 1, 0});
        const auto accepts = [&](const char* version) {
            return layout.type.IsHashCompatible(HashOf(version, {"x", "y"}));
        };
        EXPECT_EQ(layout.type.GetHash(), HashOf("1.1.0", {"x", "y"}));
        EXPECT_TRUE(accepts("1.1.0"));
        EXPECT_EQ(accepts("1.0.0"), isWellKnown);
        EXPECT_EQ(accepts("0.0.1"), isWellKnown);
        EXPECT_FALSE(accepts("1.0.1"));
        EXPECT_FALSE(layout.type.IsHashCompatible(HashOf("1.1.0", {"x"})));
    }
}

TEST(StreamTypeHash, LooksAtTheParentsNameOnlyWhenCalculatedAnew) {
    const std::string fixedX = HashOf("1.0.0", {"x"});
    TestType layout({{"x", Int32, 1}}, "Command", {2, 0, 0});
    layout.parent.name = "Pos";
    EXPECT_TRUE(layout.type.IsHashCompatible(fixedX));
    EXPECT_FALSE(StreamType(layout.type).IsHashCompatible(fixedX));
    StreamType assigned;
    assigned = layout.type;
    EXPECT_TRUE(assigned.IsHashCompatible(fixedX));
    assigned.Add("y", Int32, 1);
    EXPECT_FALSE(assigned.IsHashCompatible(HashOf("1.0.0", {"x", "y"})));
    layout.parent.name = "DataPoint";
    assigned.Add("z", Int32, 1);
    EXPECT_TRUE(assigned.IsHashCompatible(HashOf("0.0.1", {"x", "y", "z"})));
    layout.parent.name = "Pos";
    assigned.Remove(1);
    EXPECT_FALSE(assigned.IsHashCompatible(HashOf("0.0.1", {"x", "z"})));
    StreamType bare;
    EXPECT_EQ(bare.GetHash(), "0000");
    EXPECT_EQ(StreamType(bare).GetHash(), HashOf("255.255.65535", {}));
    assigned = bare;
    EXPECT_EQ(assigned.GetHash(), "0000");
    EXPECT_EQ(assigned.Add("a", Int8, 1).GetHash(), HashOf("255.255.65535", {"a"}));
}

// Captures the messages of the root logger.
class StreamTypeNode : public testing::Test {
  protected:
    StreamTypeNode() { Poco::Logger::root().setChannel(channel); }
    ~StreamTypeNode() override { Poco::Logger::root().setChannel(nullptr); }

    std::ostringstream warnings;
    const Poco::AutoPtr<Poco::Channel> channel{new Poco::FormattingChannel(
        new Poco::PatternFormatter("%p %t"), new Poco::StreamChannel(warnings))};
};

TEST_F(StreamTypeNode, HoldsVersionKeysAndTypesButNoSizes) {
    TestType layout({{"a", Int32, 3}, {"b b", String, 0}}, "Pos", {1, 2, 3});
    EXPECT_EQ(Written(layout.type),
              "/1(Version/2=1.2.3 Entries/17(Entry/1(Key/2=a Type/2=Int32) "
              "Entry/1(Key/2=b b Type/2=String)))");
    const NodeSpec version = Value("Version", "1.2.3");
    const auto entries = List("Entries", {EntrySpec("a", "Int32"), EntrySpec("b b", "String")});
    const Serializer<NodeRef> serializer;
    const StreamType read(serializer, BuiltTree({version, entries}).Root(), &layout.parent);
    EXPECT_EQ(read.GetHash(), layout.type.GetHash());
    ExpectOffsets(read, {0, 4, 5});

    const std::pair<const char*, unsigned int> sizes[] = {
        {"3", 12}, {"0", 0}, {"-1", 4}, {"x", 4}, {"4294967296", 4}};
    for (const auto& [size, bytes] : sizes) {
        NodeSpec entry = EntrySpec("a", "int32");
        entry.children.push_back(Value("InitialSize", size));
        const BuiltTree tree({version, List("Entries", {entry})});
        ExpectOffsets(StreamType(serializer, tree.Root(), &layout.parent), {0, bytes});
    }
    EXPECT_EQ(warnings.str(), "");

    const BuiltTree none({version, List("Entries", {})});
    StreamType type(serializer, none.Root(), &layout.parent);
    EXPECT_EQ(type.GetHash(), "");
    EXPECT_FALSE(type.IsHashCompatible(HashOf("1.2.3", {})));
    EXPECT_EQ(type.Add("a", Int8, 1).GetHash(), HashOf("1.2.3", {"a"}));
}

TEST_F(StreamTypeNode, IsRefusedWhereSomethingIsMissing) {
    const NamedParent parent("Pos");
    const auto read = [&](const NodeSpec& first, const NodeSpec& second) {
        return [=, &parent] {
            StreamType(Serializer<NodeRef>(), BuiltTree({first, second}).Root(), &parent);
        };
    };
    const NodeSpec version = Value("Version", "1.0.0");
    const auto with = [](const NodeSpec& entry) { return List("Entries", {entry}); };
    const std::pair<std::function<void()>, const char*> lacking[] = {
        {read(version, with(Value("Entry", ""))), "/Entries/Entry/Key' broke rule 'Is mandatory'."},
        {read(version, with(List("Entry", {Value("Key", "a")}))),
         "/Entries/Entry/Type' broke rule 'Is mandatory'."},
        {read(Value("Version", "1.0"), List("Entries", {})),
         "/Version' broke rule 'Is mandatory'. Reason: '1.0' is not a version such as '1.0.0'."},
        {read(version, List("Other", {})), "/Entries' broke rule 'Exists'."}};
    for (const auto& [action, message] : lacking) {
        EXPECT_EQ(MessageOf<SerializationException>(action),
                  std::string("Value at position '") + message);
        EXPECT_EQ(warnings.str(), std::string("Warning Value at position '") + message + '\n');
        warnings.str("");
    }
    EXPECT_EQ(MessageOf<std::invalid_argument>(read(version, with(EntrySpec("a", "Int33")))),
              "Could not create entry with the given arguments: Key: 'a', base type: "
              "'UnknownType'");
}

}  // namespace
}  // namespace velmora::core::tessaryn
