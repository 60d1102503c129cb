// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/allocation_probe.h"
#include "support/comma_locale.h"
#include "support/node_builder.h"
#include "support/samples.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;
using Poco::Timestamp;
using serialization::NodeRef;
using serialization::SerializationException;
using serialization::Serializer;

TEST(SampleNode, HoldsTimeKeysAndTexts) {
    TestType layout({});
    for (unsigned short type = Int8; type <= String; ++type) {
        layout.type.Add(std::string(1, static_cast<char>('a' + type - 1)), BaseType(type), 1);
    }
    Sample sample(&layout.type, Timestamp(-5));
    const std::string ones(8, '\xFF');
    ReadBinary(sample, BinaryForm({"a\x80", BytesOf<short>(-2), BytesOf(1) + BytesOf(-1),
                                   BytesOf(-1LL << 63), "\xFF", "\xFF\xFF", BytesOf(~0U), ones,
                                   BytesOf(1234567.5F), BytesOf(1234567.5), std::string("\2\0", 2),
                                   "a;b\n"}));
    const CommaLocale comma;
    const struct {
        const char* key;
        const char* text;
        const char* firstElement;
    } entries[] = {{"a", "97;-128", "97"},
                   {"b", "-2", "-2"},
                   {"c", "1;-1", "1"},
                   {"d", "-9223372036854775808", "-9223372036854775808"},
                   {"e", "255", "255"},
                   {"f", "65535", "65535"},
                   {"g", "4294967295", "4294967295"},
                   {"h", "18446744073709551615", "18446744073709551615"},
                   {"i", "1.23457e+06", "1.23457e+06"},
                   {"j", "1234567.5", "1234567.5"},
                   {"k", "1;0", "1"},
                   {"l", "a;b\n", "a"}};
    std::string expected;
    for (const auto& [key, text, firstElement] : entries) {
        expected += expected.empty() ? "" : " ";
        expected += std::string("Entry/1(Key/2=") + key + " Value/2=" + text + ")";
        EXPECT_EQ(ToString(&sample, key, 0), firstElement);
    }
    EXPECT_EQ(Written(sample), "/1(TimeStamp/2=-5 Entries/17(" + expected + "))");
    EXPECT_THROW(ToString(&sample, 1, 1), std::out_of_range);
    EXPECT_THROW(ToString(&sample, 12, 0), std::out_of_range);
    EXPECT_THROW(ToString(&sample, "nope", 0), EntryNotFoundException);
    EXPECT_EQ(ToString(nullptr, StreamType::invalidEntryId, 5), "");
}

// Reads a sample from a node with these entries.
Sample ReadNode(StreamType& type, const std::string& time,
                const std::vector<std::pair<std::string, std::string>>& entries) {
    std::vector<NodeSpec> list;
    for (const auto& [key, value] : entries) {
        list.push_back(List("Entry", {Value("Key", key), Value("Value", value)}));
    }
    const BuiltTree tree({Value("TimeStamp", time), List("Entries", list)});
    return {&type, Serializer<NodeRef>(), tree.Root()};
}

TEST(SampleNode, IsReadByGrowingEntriesAndKeepingTheRest) {
    TestType layout({{"x", Int32, 2}, {"s", String, 2}, {"b", UInt8, 1}});
    const std::string none(8, '\0');
    const std::string two(2, '\0');
    const std::string nul(1, '\0');
    struct Row {
        std::vector<std::pair<std::string, std::string>> entries;
        std::vector<std::string> bytes;
        bool keepsTime;
    };
    const Row table[] = {{{}, {none, two, nul}, true},
                         {{{"x", "1;2;3"}}, {BytesOf(1) + BytesOf(2) + BytesOf(3), two, nul}, true},
                         {{{"x", "1;2"}, {"x", "9"}}, {BytesOf(9) + BytesOf(2), two, nul}, true},
                         {{{"x", ""}}, {none, two, nul}, true},
                         {{{"x", "4;5;"}}, {BytesOf(4) + BytesOf(5), two, nul}, true},
                         {{{"x", ";y"}, {"b", "300"}}, {none, two, "\x2C"}, true},
                         {{{"b", "7"}, {"s", "a;b;c"}}, {none, "a;b;c", "\7"}, false},
                         {{{"s", ""}}, {none, "", nul}, false}};
    for (const Row& row : table) {
        const Sample sample = ReadNode(layout.type, "12345", row.entries);
        EXPECT_EQ(BinaryOf(sample), BinaryForm(row.bytes));
        EXPECT_EQ(sample.GetTimeStamp() == Timestamp(12345), row.keepsTime);
    }
    EXPECT_THROW(ReadNode(layout.type, "5", {{"nope", "1"}}), EntryNotFoundException);
    const BuiltTree tree({List("Entries", {List("Entry", {Value("Value", "x")})})});
    EXPECT_EQ(MessageOf<SerializationException>(
                  [&] { Sample(&layout.type, Serializer<NodeRef>(), tree.Root()); }),
              "Value at position '/Entries/Entry/Key' broke rule 'Is mandatory'.");
}

// Every entry grows, and one text changes its length again and again.
TEST(SampleNode, IsReadAtTheCostOfItsText) {
    TestType layout({{"s", String, 0}});
    std::vector<std::pair<std::string, std::string>> entries;
    const std::size_t count = 1000;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string key = std::to_string(i);
        layout.type.Add(key, Int64, 1);
        entries.emplace_back(key, "1;2;3");
        entries.emplace_back("s", std::string(i % 2 + 1, 'x'));
    }
    const AllocationProbe probe;
    const Sample sample = ReadNode(layout.type, "1", entries);
    EXPECT_EQ(sample.GetSize(static_cast<unsigned short>(count)), 3U);
    EXPECT_EQ(sample.GetString(0), "xx");
    EXPECT_LT(AllocationProbe::Bytes(), count * 10000);
}

TEST(SampleNode, GetsTheTimeOfReadingForAnInvalidTime) {
    TestType layout({});
    for (const std::string kept : {"1", "9223372036854775807"}) {
        const Timestamp time = ReadNode(layout.type, kept, {}).GetTimeStamp();
        EXPECT_EQ(std::to_string(time.epochMicroseconds()), kept);
    }
    // The present lies between this time and the largest.
    const Timestamp soon(1000000000);
    for (const char* none :
         {"0", "-5", "9223372036854775808", "18446744073709551616", "12abc", ""}) {
        const Timestamp time = ReadNode(layout.type, none, {}).GetTimeStamp();
        EXPECT_TRUE(soon < time && time < Timestamp::TIMEVAL_MAX) << none;
    }
    const Sample bare(&layout.type, Serializer<NodeRef>(), BuiltTree({}).Root());
    EXPECT_LT(soon, bare.GetTimeStamp());
}

}  // namespace
}  // namespace velmora::core::tessaryn
