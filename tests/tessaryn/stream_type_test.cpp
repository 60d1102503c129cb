// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/stream_type.h"

#include "support/node_builder.h"
#include "support/root_logger.h"
#include "support/samples.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using serialization::NodeRef;
using serialization::SerializationException;
using serialization::Serializer;
using test::List;
using test::MessageOf;
using test::NamedParent;
using test::NodeSpec;
using test::TestType;
using test::Value;
using utils::Version;

void ExpectOffsets(const StreamType& type, const std::vector<unsigned int>& offsets) {
    EXPECT_EQ(type.GetMemOffsetLookup(), offsets);
    EXPECT_EQ(type.GetNumOffsets(), offsets.size());
    EXPECT_EQ(type.GetNumEntries(), offsets.size() - 1);
    EXPECT_EQ(type.GetInitialMemSizeInBytes(), offsets.back());
    for (unsigned short i = 0; i < offsets.size(); ++i)
        EXPECT_EQ(type.GetMemoryOffset(i), offsets[i]);
}

TEST(StreamTypeLayout, PacksEntriesWithoutPaddingAndWrapsAt32Bits) {
    struct Row {
        const char* name;
        std::initializer_list<SampleEntry> entries;
        std::vector<unsigned int> offsets;
        bool holdsSamples;
    };
    const Row table[] = {
        {"none", {}, {0}, true},
        {"mixed", {{"a", Int32, 1}, {"b", Double, 2}, {"c", String, 10}}, {0, 4, 20, 30}, true},
        {"empty entry", {{"a", Int32, 0}, {"b", Int8, 3}}, {0, 0, 3}, true},
        {"each width",
         {{"a", Int8, 1}, {"b", UInt16, 1}, {"c", Bool, 1}, {"d", UInt64, 1}, {"e", Float, 1}},
         {0, 1, 3, 4, 12, 16},
         true},
        {"wraps to 0", {{"a", Double, 0x20000000}, {"b", Int8, 3}}, {0, 0, 3}, false},
        {"wraps", {{"a", String, 0xFFFFFFFF}, {"b", Int16, 1}}, {0, 0xFFFFFFFF, 1}, false},
        {"wraps often", {{"a", Double, 0xFFFFFFFF}, {"b", Int8, 8}}, {0, 0xFFFFFFF8, 0}, false}};
    for (const Row& row : table) {
        SCOPED_TRACE(row.name);
        TestType layout(row.entries);
        ExpectOffsets(layout.type, row.offsets);
        ExpectOffsets(StreamType(layout.type), row.offsets);
        StreamType assigned;
        assigned.Add("gone", Double, 7);
        assigned = layout.type;
        StreamType& self = assigned;
        assigned = self;
        ExpectOffsets(assigned, row.offsets);
        EXPECT_EQ(assigned.GetEntryNames(), layout.type.GetEntryNames());
        EXPECT_FALSE(assigned.EntryExists("gone"));
        EXPECT_EQ(assigned.GetFullName() + assigned.GetVersion().ToString(), "Root.Pos1.0.0");

        TestType longer({{"first", Double, 5}});
        for (const SampleEntry& entry : row.entries)
            longer.type.Add(entry.key, entry.type, entry.initialSize);
        longer.type.Remove(0);
        ExpectOffsets(longer.type, row.offsets);
        for (StreamType* type : {&layout.type, &longer.type, &assigned}) {
            if (row.holdsSamples)
                EXPECT_NO_THROW(Sample(type, Poco::Timestamp()));
            else
                EXPECT_THROW(Sample(type, Poco::Timestamp()), std::length_error);
        }
    }
}

TEST(StreamTypeEntries, AreFoundByNameAndRenumberedOnRemoval) {
    TestType layout({{"a", Int32, 1}, {"A", Double, 2}, {"c", String, 0}});
    StreamType& type = layout.type;
    EXPECT_EQ(type.EntryId("A"), 1);
    type.Remove(0);
    EXPECT_EQ(type.GetEntryNames(), (std::vector<std::string>{"A", "c"}));
    EXPECT_FALSE(type.EntryExists("a"));
    EXPECT_EQ(type.EntryId("c"), 1);
    EXPECT_EQ(type.GetType(0), Double);
    const SampleEntry entry = type.GetEntry(0);
    EXPECT_EQ(entry.key, "A");
    EXPECT_EQ(entry.type, Double);
    EXPECT_EQ(entry.initialSize, 2U);
    EXPECT_EQ(MessageOf<std::out_of_range>([&] { type.GetEntry(2); }),
              "invalid vector<T> subscript");
    EXPECT_EQ(MessageOf<EntryNotFoundException>([&] { type.EntryId("a"); }),
              "Entry with name 'a' does not exist in stream type 'Pos' with version '1.0.0'.");
    EXPECT_EQ(
        MessageOf<EntryNotFoundException>([] { StreamType().EntryId("%s"); }),
        "Entry with name '%s' does not exist in stream type '' with version '255.255.65535'.");
    EXPECT_EQ(&type.Add("a", Int8, 1), &type);
    EXPECT_EQ(type.EntryId("a"), 2);
}

TEST(StreamTypeEntries, AreRefusedWithoutAChange) {
    TestType layout({{"a", Int32, 1}});
    const std::string hash = layout.type.GetHash();
    struct Row {
        const char* key;
        BaseType type;
        const char* named;
    };
    for (const Row& row : {Row{"a", Int32, "Int32"}, Row{"a", Double, "Double"},
                           Row{"", Int32, "Int32"}, Row{"b", UnknownType, "UnknownType"}}) {
        EXPECT_EQ(MessageOf<std::invalid_argument>([&] { layout.type.Add(row.key, row.type, 1); }),
                  std::string("Could not create entry with the given arguments: Key: '") + row.key +
                      "', base type: '" + row.named + "'");
    }
    ExpectOffsets(layout.type, {0, 4});
    EXPECT_EQ(layout.type.GetHash(), hash);
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { StreamType(Version(1, 0, 0), nullptr); }),
              "StreamType must have a valid parent object.");
}

TEST(StreamTypeEntries, AreCountedBeyond16Bits) {
    TestType layout({});
    StreamType& type = layout.type;
    for (unsigned i = 0; i < 65535; ++i)
        type.Add(std::to_string(i), Int8, 1);
    const std::string hash = type.GetHash();
    EXPECT_THROW(type.Add("one more", Int8, 1), std::length_error);
    EXPECT_THROW(type.Add("7", Int8, 1), std::invalid_argument);
    EXPECT_EQ(type.GetNumEntries(), 65535);
    EXPECT_EQ(type.GetMemOffsetLookup().size(), 65536U);
    EXPECT_EQ(type.GetHash(), hash);
    EXPECT_FALSE(type.EntryExists("one more"));
    const unsigned short last = type.EntryId("65534");
    EXPECT_EQ(last, 65534);

    Sample sample(&type, Poco::Timestamp());
    sample.Set(last, 0, 'z');
    sample.Resize(last, 2);
    const Sample copy(sample);
    EXPECT_EQ(copy.GetString(last), std::string("z\0", 2));
    EXPECT_EQ(copy.GetSerializedSizeInBytes(), 65536U * 4 + 65536U);
    Sample read(&type, Poco::Timestamp());
    test::ReadBinary(read, test::BinaryOf(copy));
    EXPECT_EQ(read.GetString(last), copy.GetString(last));
    type.Remove(0);
    EXPECT_NO_THROW(type.Add("one more", Int8, 1));
}

/// The layout's hash, worked out from its text.
std::string HashOf(const std::string& version, const std::vector<std::string>& keys) {
    std::string text = "Version  " + version;
    for (const std::string& key : keys)
        text += " Key  " + key + " TypeId [ERRFMT]";
    unsigned a = 1;
    unsigned b = 0;
    for (const char c : text) {
        a = (a + static_cast<unsigned char>(c)) % 65521;
        b = (b + a) % 65521;
    }
    return test::BytesOf(b * 65536 + a);
}

TEST(StreamTypeHash, IsTheChecksumOfVersionAndKeys) {
    EXPECT_EQ(TestType({}).type.GetHash(), "\x14\x04\x06\x24");
    EXPECT_EQ(TestType({{"a", Int32, 1}}).type.GetHash(), "\x15\x0B\x58\xD3");
    EXPECT_EQ(TestType({{"a", String, 9}}, "Other").type.GetHash(), "\x15\x0B\x58\xD3");

    const std::vector<std::string> odd = {"%s", std::string("n\0l", 3), "%", "\xFF", " Key  ", "z"};
    TestType layout({}, "Pos", {3, 4, 5});
    for (const std::string& key : odd)
        layout.type.Add(key, Double, 2);
    EXPECT_EQ(layout.type.GetHash(), HashOf("3.4.5", odd));
    EXPECT_EQ(StreamType(layout.type).GetHash(), HashOf("3.4.5", odd));
    layout.type.Remove(1);
    EXPECT_EQ(layout.type.GetHash(), HashOf("3.4.5", {odd[0], odd[2], odd[3], odd[4], odd[5]}));
    TestType turned({{"b", Int32, 1}, {"a", Int32, 1}});
    EXPECT_EQ(turned.type.GetHash(), HashOf("1.0.0", {"b", "a"}));
}

TEST(StreamTypeHash, AcceptsTheFixedVersionsOfWellKnownTypesOnly) {
    struct Row {
        const char* name;
        Version version;
        std::vector<std::string> accepted;
    };
    const Row table[] = {{"Pos", {1, 0, 0}, {"1.0.0"}},
                         {"command", {1, 1, 0}, {"1.1.0"}},
                         {"Command ", {1, 1, 0}, {"1.1.0"}},
                         {"ClientInfo", {1, 0, 0}, {"1.0.0", "1.1.0", "0.0.1"}},
                         {"DataPoint", {0, 0, 1}, {"1.0.0", "1.1.0", "0.0.1"}},
                         {"Command", {1, 1, 0}, {"1.0.0", "1.1.0", "0.0.1"}},
                         {"CommandResult", {2, 0, 0}, {"2.0.0", "1.0.0", "1.1.0", "0.0.1"}},
                         {"ProxyParams", {0, 1, 0}, {"0.1.0", "1.0.0", "1.1.0", "0.0.1"}},
                         {"ConnectionStatus", {9, 9, 9}, {"9.9.9", "1.0.0", "1.1.0", "0.0.1"}}};
    for (const Row& row : table) {
        SCOPED_TRACE(row.name);
        const TestType layout({{"x", Int32, 1}, {"y", Int32, 1}}, row.name, row.version);
        EXPECT_EQ(layout.type.GetHash(), HashOf(row.version.ToString(), {"x", "y"}));
        for (const char* version :
             {"1.0.0", "1.1.0", "0.0.1", "2.0.0", "0.1.0", "9.9.9", "1.0.1"}) {
            const bool accepted =
                std::count(row.accepted.begin(), row.accepted.end(), version) != 0;
            EXPECT_EQ(layout.type.IsHashCompatible(HashOf(version, {"x", "y"})), accepted)
                << version;
            EXPECT_FALSE(layout.type.IsHashCompatible(HashOf(version, {"x"}))) << version;
        }
        EXPECT_FALSE(layout.type.IsHashCompatible(""));
    }
}

TEST(StreamTypeHash, LooksAtTheParentsNameOnlyWhenCalculatedAnew) {
    const std::string ownX = HashOf("2.0.0", {"x"});
    const std::string otherX = HashOf("1.0.0", {"x"});
    TestType layout({{"x", Int32, 1}}, "Command", {2, 0, 0});
    layout.parent.name = "Pos";
    EXPECT_TRUE(layout.type.IsHashCompatible(otherX));
    StreamType assigned;
    assigned = layout.type;
    EXPECT_TRUE(assigned.IsHashCompatible(otherX));
    const StreamType copy(layout.type);
    EXPECT_FALSE(copy.IsHashCompatible(otherX));
    EXPECT_TRUE(copy.IsHashCompatible(ownX));

    for (StreamType* type : {&layout.type, &assigned}) {
        type->Add("y", Int32, 1);
        EXPECT_FALSE(type->IsHashCompatible(HashOf("1.0.0", {"x", "y"})));
        layout.parent.name = "DataPoint";
        type->Add("z", Int32, 1);
        EXPECT_TRUE(type->IsHashCompatible(HashOf("0.0.1", {"x", "y", "z"})));
        EXPECT_EQ(type->GetHash(), HashOf("2.0.0", {"x", "y", "z"}));
        layout.parent.name = "Pos";
        type->Remove(1);
        EXPECT_FALSE(type->IsHashCompatible(HashOf("0.0.1", {"x", "z"})));
        EXPECT_EQ(type->GetHash(), HashOf("2.0.0", {"x", "z"}));
    }
}

TEST(StreamTypeHash, OfADefaultTypeIsNotCalculatedBeforeItsFirstEntryOrCopy) {
    StreamType type;
    EXPECT_EQ(type.GetHash(), "0000");
    EXPECT_TRUE(type.IsHashCompatible("0000"));
    EXPECT_EQ(type.GetName() + type.GetFullName(), "");
    EXPECT_EQ(type.GetVersion(), Version::Latest());
    EXPECT_EQ(StreamType(type).GetHash(), HashOf("255.255.65535", {}));
    StreamType assigned(type);
    assigned = type;
    EXPECT_EQ(assigned.GetHash(), "0000");
    EXPECT_EQ(assigned.Add("a", Int8, 1).GetHash(), HashOf("255.255.65535", {"a"}));
}

TEST(StreamTypeNode, HoldsVersionKeysAndTypesButNoSizes) {
    TestType layout({{"a", Int32, 3}, {"b b", String, 0}}, "Pos", {1, 2, 3});
    EXPECT_EQ(test::Written(layout.type),
              "/1(Version/2=1.2.3 Entries/17(Entry/1(Key/2=a Type/2=Int32) "
              "Entry/1(Key/2=b b Type/2=String)))");
    const test::BuiltTree tree(
        {Value("Version", "1.2.3"),
         List("Entries", {test::EntrySpec("a", "Int32"), test::EntrySpec("b b", "String")})});
    const StreamType read(Serializer<NodeRef>(), tree.Root(), &layout.parent);
    EXPECT_EQ(read.GetVersion(), Version(1, 2, 3));
    EXPECT_EQ(read.GetHash(), layout.type.GetHash());
    EXPECT_EQ(read.GetFullName(), "Root.Pos");
    ExpectOffsets(read, {0, 4, 5});
}

TEST(StreamTypeNode, TakesOneForAMissingOrUnreadableSize) {
    const NamedParent parent("Pos");
    const std::pair<const char*, unsigned int> table[] = {
        {nullptr, 4}, {"3", 12}, {"0", 0}, {"-1", 4}, {"x", 4}, {"4294967296", 4}};
    const test::RootLoggerRecord record;
    for (const auto& [size, bytes] : table) {
        test::NodeSpec entry = test::EntrySpec("a", "int32");
        if (size != nullptr)
            entry.children.push_back(Value("InitialSize", size));
        const test::BuiltTree tree({Value("Version", "1.0.0"), List("Entries", {entry})});
        const StreamType type(Serializer<NodeRef>(), tree.Root(), &parent);
        ExpectOffsets(type, {0, bytes});
        EXPECT_EQ(type.GetHash(), HashOf("1.0.0", {"a"}));
    }
    EXPECT_TRUE(record.Warnings().empty());
}

TEST(StreamTypeNode, IsRefusedWhereSomethingIsMissing) {
    const NamedParent parent("Pos");
    const test::RootLoggerRecord record;
    const auto read = [&](const std::vector<NodeSpec>& nodes) {
        return [&parent, nodes] {
            StreamType(Serializer<NodeRef>(), test::BuiltTree(nodes).Root(), &parent);
        };
    };
    const auto withEntry = [](const NodeSpec& entry) {
        return std::vector<NodeSpec>{Value("Version", "1.0.0"), List("Entries", {entry})};
    };
    const std::pair<std::vector<NodeSpec>, const char*> lacking[] = {
        {withEntry(List("Entry", {Value("Type", "Int32")})), "/Entries/Entry/Key"},
        {withEntry(List("Entry", {Value("Key", "a")})), "/Entries/Entry/Type"},
        {{List("Entries", {})}, "/Version"},
        {{Value("Version", "1.0"), List("Entries", {})}, "/Version"},
        {{Value("Version", "1.0.0")}, "/Entries"}};
    for (const auto& [nodes, position] : lacking) {
        const std::string start = std::string("Value at position '") + position + "' broke rule '";
        const std::string message = MessageOf<SerializationException>(read(nodes));
        EXPECT_EQ(message.substr(0, start.size()), start);
        EXPECT_EQ(record.Warnings().back(), message);
    }
    EXPECT_EQ(MessageOf<std::invalid_argument>(read(withEntry(test::EntrySpec("a", "Int33")))),
              "Could not create entry with the given arguments: Key: 'a', base type: "
              "'UnknownType'");
    EXPECT_THROW(read(withEntry(test::EntrySpec("", "Int32")))(), std::invalid_argument);
}

TEST(StreamTypeNode, WithoutEntriesGivesATypeWithoutHash) {
    const test::BuiltTree tree({Value("Version", "1.0.0"), List("Entries", {})});
    const NamedParent parent("Command");
    StreamType type(Serializer<NodeRef>(), tree.Root(), &parent);
    ExpectOffsets(type, {0});
    EXPECT_EQ(type.GetHash(), "");
    EXPECT_FALSE(type.IsHashCompatible(""));
    EXPECT_FALSE(type.IsHashCompatible(HashOf("1.0.0", {})));
    EXPECT_EQ(StreamType(type).GetHash(), HashOf("1.0.0", {}));
    EXPECT_EQ(type.Add("a", Int8, 1).GetHash(), HashOf("1.0.0", {"a"}));
}

}  // namespace
}  // namespace velmora::core::tessaryn
