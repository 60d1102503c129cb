// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/comma_locale.h"
#include "support/node_builder.h"
#include "support/random.h"
#include "support/root_logger.h"
#include "support/samples.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"
#include "tessaryn/sample.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using Poco::Timestamp;
using serialization::NodeRef;
using serialization::SerializationException;
using serialization::Serializer;
using test::BinaryForm;
using test::BinaryOf;
using test::BytesOf;
using test::List;
using test::MessageOf;
using test::NodeSpec;
using test::TestType;
using test::Value;

const Timestamp longAgo(1);

TEST(SampleText, OfOneElementIsAsTabled) {
    struct Row {
        BaseType type;
        std::string bytes;
        std::string text;
    };
    const Row table[] = {
        {Int8, "a", "97"},
        {Int8, "\x80", "-128"},
        {Int16, BytesOf<short>(-32768), "-32768"},
        {Int32, BytesOf(2147483647), "2147483647"},
        {Int64, BytesOf(std::numeric_limits<long long>::min()), "-9223372036854775808"},
        {UInt8, "\xFF", "255"},
        {UInt16, BytesOf<unsigned short>(65535), "65535"},
        {UInt32, BytesOf(4294967295U), "4294967295"},
        {UInt64, BytesOf(18446744073709551615ULL), "18446744073709551615"},
        {Float, BytesOf(1234567.0F), "1.23457e+06"},
        {Float, BytesOf(0.1F), "0.1"},
        {Double, BytesOf(0.1), "0.1"},
        {Double, BytesOf(1234567.0), "1234567"},
        {Double, BytesOf(-0.0), "-0"},
        {Bool, "\1", "1"},
        {Bool, std::string(1, '\0'), "0"},
        {Bool, "\2", "1"},
        {String, "a", "a"},
        {String, std::string(1, '\0'), std::string(1, '\0')}};
    for (const Row& row : table) {
        TestType layout({{"before", UInt8, 1}, {"x", row.type, 1}});
        Sample sample(&layout.type, longAgo);
        test::ReadBinary(sample, BinaryForm({"b", row.bytes}));
        const test::CommaLocale comma;
        EXPECT_EQ(ToString(&sample, 1, 0), row.text) << ToString(row.type);
        EXPECT_EQ(ToString(&sample, "x", 0), row.text) << ToString(row.type);
        EXPECT_EQ(MessageOf<std::out_of_range>([&] { ToString(&sample, 1, 1); }),
                  "Index out of range.");
        EXPECT_THROW(ToString(&sample, 2, 0), std::out_of_range);
        EXPECT_EQ(
            MessageOf<EntryNotFoundException>([&] { ToString(&sample, "nope", 0); }),
            "Entry with name 'nope' does not exist in stream type 'Pos' with version '1.0.0'.");
    }
    EXPECT_EQ(ToString(nullptr, StreamType::invalidEntryId, 5), "");
}

TEST(SampleText, OfFloatingPointIsThatOfAnOutputStream) {
    TestType layout({{"f", Float, 1}, {"d", Double, 1}});
    Sample sample(&layout.type, longAgo);
    test::Random random;
    const test::CommaLocale comma;
    const auto written = [](auto value) {
        std::ostringstream out;
        out.imbue(std::locale::classic());
        out.precision(std::numeric_limits<decltype(value)>::digits10);
        out << value;
        return out.str();
    };
    std::vector<std::pair<float, double>> values = {
        {std::numeric_limits<float>::infinity(), -std::numeric_limits<double>::infinity()},
        {std::numeric_limits<float>::quiet_NaN(), -std::numeric_limits<double>::quiet_NaN()},
        {-0.0F, -0.0},
        {std::numeric_limits<float>::denorm_min(), std::numeric_limits<double>::denorm_min()},
        {999999.5F, 999999999999999.5},
        {0.00001F, 0.0001}};
    for (int i = 0; i < 20000; ++i) {
        const auto number = static_cast<double>(random.Below(100000)) / 1000;
        values.emplace_back(std::bit_cast<float>(static_cast<std::uint32_t>(random.Bits())),
                            i % 2 == 0 ? number : std::bit_cast<double>(random.Bits()));
    }
    for (const auto& [small, large] : values) {
        sample.Set(0, 0, small);
        sample.Set(1, 0, large);
        ASSERT_EQ(ToString(&sample, 0, 0), written(small));
        ASSERT_EQ(ToString(&sample, 1, 0), written(large));
    }
}

const std::string golden(
    "\x00\x00\x00\x00\x08\x00\x00\x00\x0B\x00\x00\x00"  // offsets 0, 8, 11
    "\x01\x00\x00\x00\xFF\xFF\xFF\xFF"                  // Int32 1, -1
    "abc",
    23);

TEST(SampleBinary, IsOffsetsThenElements) {
    TestType layout({{"x", Int32, 2}, {"s", String, 0}});
    Sample sample(&layout.type, longAgo);
    sample.Set(0, 0, 1);
    sample.Set(0, 1, -1);
    sample.Set(1, "abc");
    EXPECT_EQ(BinaryOf(sample), golden);
    EXPECT_EQ(sample.GetSerializedSizeInBytes(), 23U);

    Sample fresh(&layout.type, longAgo);
    std::istringstream in(golden + golden);
    fresh.Deserialize(in);
    EXPECT_EQ(in.tellg(), 23);
    EXPECT_EQ(BinaryOf(fresh), golden);
    EXPECT_EQ(fresh.GetInt32(0, 1), -1);
    EXPECT_EQ(fresh.GetString(1), "abc");
    EXPECT_EQ(fresh.GetTimeStamp(), longAgo);
    EXPECT_EQ(fresh.GetStreamType(), &layout.type);
}

TEST(SampleBinary, CutShortLeavesWhatWasReadAndZerosOrWithAThrowNothing) {
    TestType layout({{"x", Int32, 2}, {"s", String, 0}});
    for (const char* former : {"", "old", "older"}) {
        for (std::size_t length = 0; length < golden.size(); ++length) {
            SCOPED_TRACE(std::string(former) + ", " + std::to_string(length));
            Sample sample(&layout.type, longAgo);
            test::ReadBinary(sample, BinaryForm({"12345678", former}));
            const std::string before = BinaryOf(sample);
            const std::string cut = golden.substr(0, length);
            std::istringstream in(cut);
            in.exceptions(std::ios::failbit);
            EXPECT_THROW(sample.Deserialize(in), std::ios::failure);
            EXPECT_EQ(BinaryOf(sample), before);

            std::string expected = cut;
            expected.resize(length <= 8 ? 12 : 23, '\0');
            EXPECT_NO_THROW(test::ReadBinary(sample, cut));
            EXPECT_EQ(BinaryOf(sample), expected);
            EXPECT_EQ(sample.GetTimeStamp(), longAgo);
        }
    }
}

TEST(SampleNode, HoldsTimeKeysAndTexts) {
    TestType layout({{"x", Int32, 2}, {"d", Double, 1}, {"s", String, 0}, {"none", Int8, 0}});
    Sample sample(&layout.type, longAgo);
    sample.Set(0, 0, "1");
    sample.Set(0, 1, "-1");
    sample.Set(1, 0, "0.5");
    const test::CommaLocale comma;
    EXPECT_EQ(test::Written(sample),
              "/1(TimeStamp/2=1 Entries/17(Entry/1(Key/2=x Value/2=1;-1) "
              "Entry/1(Key/2=d Value/2=0.5) Entry/1(Key/2=s Value/2=) "
              "Entry/1(Key/2=none Value/2=)))");
    sample.Set(2, "a;b\n");
    EXPECT_NE(test::Written(sample).find("Entry/1(Key/2=s Value/2=a;b\n)"), std::string::npos);

    TestType bare({});
    sample = Sample(&bare.type, Timestamp(-5));
    EXPECT_EQ(test::Written(sample), "/1(TimeStamp/2=-5 Entries/17)");
}

using Entries = std::vector<std::pair<std::string, std::string>>;

/// A sample's node; a null time is left out.
test::BuiltTree SampleNodeOf(const char* time, const Entries& entries) {
    std::vector<NodeSpec> list;
    for (const auto& [key, value] : entries)
        list.push_back(List("Entry", {Value("Key", key), Value("Value", value)}));
    std::vector<NodeSpec> nodes = {List("Entries", list)};
    if (time != nullptr)
        nodes.push_back(Value("TimeStamp", time));
    return nodes;
}

TEST(SampleNode, IsReadByGrowingEntriesAndKeepingTheRest) {
    TestType layout({{"x", Int32, 2}, {"s", String, 2}, {"b", UInt8, 1}});
    const std::string none(8, '\0');
    const std::string nul(1, '\0');
    struct Row {
        const char* name;
        Entries entries;
        std::vector<std::string> bytes;
        bool keepsTime;
    };
    const Row table[] = {
        {"nothing named", {}, {none, nul + nul, nul}, true},
        {"grown", {{"x", "1;2;3"}}, {BytesOf(1) + BytesOf(2) + BytesOf(3), nul + nul, nul}, true},
        {"fewer", {{"x", "9"}}, {BytesOf(9) + BytesOf(0), nul + nul, nul}, true},
        {"fewer again",
         {{"x", "1;2"}, {"x", "9"}},
         {BytesOf(9) + BytesOf(2), nul + nul, nul},
         true},
        {"empty", {{"x", ""}}, {none, nul + nul, nul}, true},
        {"separator last", {{"x", "4;5;"}}, {BytesOf(4) + BytesOf(5), nul + nul, nul}, true},
        {"gap and garbage", {{"x", ";y"}, {"b", "300"}}, {none, nul + nul, "\x2C"}, true},
        {"only a separator", {{"b", ";"}}, {none, nul + nul, nul}, true},
        {"string", {{"b", "7"}, {"s", "a;b;c"}}, {none, "a;b;c", "\7"}, false},
        {"shorter string", {{"s", ""}}, {none, "", nul}, false}};
    for (const Row& row : table) {
        SCOPED_TRACE(row.name);
        const test::BuiltTree tree = SampleNodeOf("12345", row.entries);
        const Sample sample(&layout.type, Serializer<NodeRef>(), tree.Root());
        EXPECT_EQ(BinaryOf(sample), BinaryForm(row.bytes));
        EXPECT_EQ(sample.GetTimeStamp() == Timestamp(12345), row.keepsTime);
    }
    const Sample bare(&layout.type, Serializer<NodeRef>(), test::BuiltTree({}).Root());
    EXPECT_EQ(bare.GetInt32(0, 1), 0);
}

TEST(SampleNode, TakesTheTimeOfReadingForATimeThatIsNone) {
    TestType layout({});
    const test::RootLoggerRecord record;
    const std::pair<const char*, bool> table[] = {{"1", true},
                                                  {"9223372036854775807", true},
                                                  {nullptr, false},
                                                  {"0", false},
                                                  {"-5", false},
                                                  {"9223372036854775808", false},
                                                  {"18446744073709551616", false},
                                                  {"12abc", false},
                                                  {"", false}};
    // Any time that a clock tells lies between this one and the largest.
    const Timestamp soon(1000000000);
    for (const auto& [text, kept] : table) {
        const Timestamp time =
            Sample(&layout.type, Serializer<NodeRef>(), SampleNodeOf(text, {}).Root())
                .GetTimeStamp();
        if (kept)
            EXPECT_EQ(std::to_string(time.epochMicroseconds()), text);
        else
            EXPECT_TRUE(soon < time && time < Timestamp::TIMEVAL_MAX)
                << (text == nullptr ? "absent" : text);
    }
    EXPECT_TRUE(record.Warnings().empty());
}

TEST(SampleNode, IsRefusedWhereAnEntryIsIncomplete) {
    TestType layout({{"x", Int32, 2}, {"s", String, 2}});
    const test::RootLoggerRecord record;
    for (const std::string lacking : {"Value", "Key"}) {
        const NodeSpec whole = List("Entry", {Value("Key", "s"), Value("Value", "abc")});
        const NodeSpec part = List("Entry", {Value(lacking == "Key" ? "Value" : "Key", "x")});
        const test::BuiltTree tree({List("Entries", {whole, part})});
        const std::string message = MessageOf<SerializationException>(
            [&] { Sample(&layout.type, Serializer<NodeRef>(), tree.Root()); });
        EXPECT_EQ(message, "Value at position '/Entries/Entry[2]/" + lacking +
                               "' broke rule 'Is mandatory'.");
        EXPECT_EQ(record.Warnings().back(), message);
    }
    EXPECT_EQ(record.Warnings().size(), 2U);
    const test::BuiltTree unknown = SampleNodeOf("5", {{"s", "abc"}, {"nope", "1"}});
    EXPECT_THROW(Sample(&layout.type, Serializer<NodeRef>(), unknown.Root()),
                 EntryNotFoundException);
    EXPECT_EQ(MessageOf<std::invalid_argument>(
                  [] { Sample(nullptr, Serializer<NodeRef>(), test::BuiltTree({}).Root()); }),
              "Sample needs a valid stream type.");
}

}  // namespace
}  // namespace velmora::core::tessaryn
