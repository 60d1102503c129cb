// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/comma_locale.h"
#include "support/node_builder.h"
#include "support/random.h"
#include "support/samples.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"
#include "tessaryn/sample.h"
#include "tessaryn/sample_check.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
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
    std::vector<double> values = {999999.5, 999999999999999.5, 0.0001, -0.0};
    for (const double value : {std::numeric_limits<double>::infinity(), std::nan("")})
        values.insert(values.end(), {value, -value});
    for (int i = 0; i < 20000; ++i) {
        values.push_back(i % 2 == 0 ? random.Below(100000) / 1000.0
                                    : std::bit_cast<double>(random.Bits()));
    }
    for (const double value : values) {
        const auto small =
            std::bit_cast<float>(static_cast<std::uint32_t>(std::bit_cast<std::uint64_t>(value)));
        for (const float single : {static_cast<float>(value), small}) {
            sample.Set(0, 0, single);
            ASSERT_EQ(ToString(&sample, 0, 0), written(single));
        }
        sample.Set(1, 0, value);
        ASSERT_EQ(ToString(&sample, 1, 0), written(value));
    }
}

const std::string golden(
    "\x00\x00\x00\x00\x08\x00\x00\x00\x0B\x00\x00\x00"  // offsets 0, 8, 11
    "\x01\x00\x00\x00\xFF\xFF\xFF\xFF"                  // Int32 1, -1
    "abc",
    23);

TEST(SampleBinary, IsWhatItSays) {
    TestType layout({{"x", Int32, 2}, {"s", String, 0}});
    Sample sample(&layout.type, longAgo);
    sample.Set(0, 0, 1);
    sample.Set(0, 1, -1);
    sample.Set(1, "abc");
    EXPECT_EQ(BinaryOf(sample), golden);
    EXPECT_EQ(sample.GetSerializedSizeInBytes(), 23U);
}

TEST(SampleBinary, CutShortLeavesWhatWasThereOrWithAThrowEverything) {
    struct Case {
        std::string former;
        std::size_t length;
        std::string expected;
    };
    const std::string table = golden.substr(0, 12);
    const std::string eightZeros(8, '\0');
    const Case cases[] = {
        {"old", 0, BinaryForm({"12345678", "old"})},
        {"old", 7, BinaryForm({"12345678", "old"})},
        {"old", 14, table + golden.substr(12, 2) + "345678old"},
        {"old", 22, golden.substr(0, 22) + "d"},
        // A shorter or longer block is a new one; beyond the former length only what came counts.
        {"older", 22, golden.substr(0, 22) + '\0'},
        {"", 14, BinaryForm({golden.substr(12, 2) + eightZeros.substr(2), ""})},
        {"", 22, BinaryForm({golden.substr(12, 8), "ab"})},
        {"", 23, golden},
    };
    TestType layout({{"x", Int32, 2}, {"s", String, 0}});
    for (const Case& tested : cases) {
        SCOPED_TRACE(tested.former + ", " + std::to_string(tested.length));
        Sample sample(&layout.type, longAgo);
        test::ReadBinary(sample, BinaryForm({"12345678", tested.former}));
        const std::string before = BinaryOf(sample);
        std::istringstream in(golden.substr(0, tested.length));
        in.exceptions(std::ios::failbit);
        if (tested.length < golden.size()) {
            EXPECT_THROW(sample.Deserialize(in), std::ios::failure);
            EXPECT_EQ(BinaryOf(sample), before);
        }
        std::istringstream more(golden.substr(0, tested.length) +
                                (tested.length == golden.size() ? "more" : ""));
        EXPECT_NO_THROW(sample.Deserialize(more));
        EXPECT_EQ(BinaryOf(sample), tested.expected);
        EXPECT_EQ(sample.GetTimeStamp(), longAgo);
    }
}

// Reads in blocks as they are asked for, and doesn't know how much there is.
class Pipe : public std::streambuf {
  public:
    explicit Pipe(std::string content) : bytes(std::move(content)) {}
    int reads = 0;

  protected:
    std::streamsize xsgetn(char* to, std::streamsize count) override {
        ++reads;
        const std::size_t got = bytes.copy(to, static_cast<std::size_t>(count), position);
        position += got;
        return static_cast<std::streamsize>(got);
    }

  private:
    std::string bytes;
    std::size_t position = 0;
};

TEST(SampleBinary, TakesMemoryOnlyForBytesThatCome) {
    TestType layout({{"x", Int32, 2}, {"s", String, 0}});
    const std::string large = BinaryForm({"12345678", std::string(300000, 'x')});
    for (const bool isShort : {false, true}) {
        std::string bytes = large;
        if (isShort)
            bytes = test::BytesOf(0U) + test::BytesOf(8U) + test::BytesOf(~0U) + large.substr(12);
        Sample sample(&layout.type, longAgo);
        Pipe pipe(bytes);
        std::istream in(&pipe);
        sample.Deserialize(in);
        EXPECT_EQ(BinaryOf(sample), large);
        EXPECT_EQ(in.eof(), isShort);

        std::stringbuf known(bytes);
        std::istream all(&known);
        sample.Deserialize(all);
        EXPECT_EQ(BinaryOf(sample), large);
    }
    Sample sample(&layout.type, longAgo);
    Pipe pipe(golden);
    std::istream in(&pipe);
    sample.Deserialize(in);
    EXPECT_EQ(pipe.reads, 2);
}

TEST(SampleBinary, WithAnyOffsetsStaysInItsMemory) {
    struct Case {
        std::array<unsigned int, 3> offsets;
        std::array<unsigned int, 3> kept;
    };
    const Case cases[] = {
        {{0, 8, 6}, {0, 6, 6}},       {{6, 2, 8}, {6, 6, 8}},   {{~0U, ~0U, 3}, {3, 3, 3}},
        {{5, ~0U, ~0U}, {5, 11, 11}}, {{0, 3, 11}, {0, 3, 11}},
    };
    TestType layout({{"x", Int32, 2}, {"s", String, 0}});
    for (const Case& tested : cases) {
        Sample sample(&layout.type, longAgo);
        std::string bytes;
        std::string expected;
        for (std::size_t i = 0; i < 3; ++i) {
            bytes += test::BytesOf(tested.offsets[i]);
            expected += test::BytesOf(tested.kept[i]);
        }
        test::ReadBinary(sample, bytes + "12345678abc");
        EXPECT_EQ(BinaryOf(sample),
                  expected + std::string("12345678abc").substr(0, tested.kept[2]));
        sample.Resize(0, 2);
        sample.Set(0, 1, 7);
        sample.Set(1, "new");
        EXPECT_EQ(sample.GetInt32(0, 1), 7);
        EXPECT_EQ(sample.GetString(1), "new");
    }
}

TEST(SampleCheck, SaysWhatIsWrongBeforeASampleIsTouched) {
    TestType layout({{"x", Int32, 2}, {"s", String, 0}});
    const auto bytes = [](unsigned int first, unsigned int second, unsigned int third) {
        return test::BytesOf(first) + test::BytesOf(second) + test::BytesOf(third) + "12345678abc";
    };
    const auto check = [&](const std::string& block) {
        return CheckSample(block, layout.type, {100, 5});
    };
    EXPECT_EQ(check(golden), "");
    EXPECT_EQ(check(BinaryForm({"", ""})), "");
    EXPECT_EQ(check(golden.substr(0, 11)), "The offsets take 12 bytes, but there are only 11.");
    EXPECT_EQ(check(bytes(1, 8, 11)), "The first entry begins at byte 1, not at 0.");
    EXPECT_EQ(check(bytes(0, 8, 6)), "Entry 's' ends at byte 6, before it begins at byte 8.");
    EXPECT_EQ(check(bytes(0, 7, 11)),
              "Entry 'x' has 7 bytes, which elements of 4 bytes don't fill.");
    EXPECT_EQ(check(bytes(0, 8, 10)),
              "The entries end at byte 10, but there are 11 bytes of elements.");
    EXPECT_EQ(check(bytes(0, 8, 12)),
              "The entries end at byte 12, but there are 11 bytes of elements.");
    EXPECT_EQ(check(bytes(0, 4, 11)), "Entry 's' has 7 elements: more than the limit of 5.");
    EXPECT_EQ(check(BinaryForm({std::string(100, 'x'), ""})),
              "The sample has 112 bytes: more than the limit of 100.");
    EXPECT_EQ(CheckSample(BinaryForm({std::string(100, 'x'), ""}), layout.type), "");
}

TEST(SampleNode, HoldsTimeKeysAndTexts) {
    TestType layout({{"a", Int8, 2},
                     {"b", Int16, 1},
                     {"c", Int32, 2},
                     {"d", Int64, 1},
                     {"e", UInt8, 1},
                     {"f", UInt16, 1},
                     {"g", UInt32, 1},
                     {"h", UInt64, 1},
                     {"i", Float, 1},
                     {"j", Double, 1},
                     {"k", Bool, 2},
                     {"l", String, 0}});
    Sample sample(&layout.type, Timestamp(-5));
    const std::string ones(8, '\xFF');
    test::ReadBinary(sample, BinaryForm({"a\x80", BytesOf<short>(-2), BytesOf(1) + BytesOf(-1),
                                         BytesOf(-1LL << 63), "\xFF", "\xFF\xFF", BytesOf(~0U),
                                         ones, BytesOf(1234567.5F), BytesOf(1234567.5),
                                         std::string("\2\0", 2), "a;b\n"}));
    const test::CommaLocale comma;
    const std::vector<std::string> texts = {
        "97;-128",     "-2",        "1;-1",       "-9223372036854775808",
        "255",         "65535",     "4294967295", "18446744073709551615",
        "1.23457e+06", "1234567.5", "1;0",        "a;b\n"};
    std::string expected;
    for (unsigned short i = 0; i < texts.size(); ++i) {
        const std::string key(1, static_cast<char>('a' + i));
        expected +=
            (i == 0 ? "Entry/1(Key/2=" : " Entry/1(Key/2=") + key + " Value/2=" + texts[i] + ")";
        EXPECT_EQ(ToString(&sample, key, 0), texts[i].substr(0, i == 11 ? 1 : texts[i].find(';')));
    }
    EXPECT_EQ(test::Written(sample), "/1(TimeStamp/2=-5 Entries/17(" + expected + "))");
    EXPECT_THROW(ToString(&sample, 1, 1), std::out_of_range);
    EXPECT_THROW(ToString(&sample, 12, 0), std::out_of_range);
    EXPECT_THROW(ToString(&sample, "nope", 0), EntryNotFoundException);
    EXPECT_EQ(ToString(nullptr, StreamType::invalidEntryId, 5), "");
}

/// Reads a sample from a node with these entries.
Sample ReadNode(StreamType& type, const std::string& time,
                const std::vector<std::pair<std::string, std::string>>& entries) {
    std::vector<NodeSpec> list;
    for (const auto& [key, value] : entries)
        list.push_back(List("Entry", {Value("Key", key), Value("Value", value)}));
    const test::BuiltTree tree({Value("TimeStamp", time), List("Entries", list)});
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
    for (const std::string lacking : {"Value", "Key"}) {
        const NodeSpec whole = List("Entry", {Value("Key", "s"), Value("Value", "abc")});
        const NodeSpec part = List("Entry", {Value(lacking == "Key" ? "Value" : "Key", "x")});
        const test::BuiltTree tree({List("Entries", {whole, part})});
        EXPECT_EQ(
            MessageOf<SerializationException>(
                [&] { Sample(&layout.type, Serializer<NodeRef>(), tree.Root()); }),
            "Value at position '/Entries/Entry[2]/" + lacking + "' broke rule 'Is mandatory'.");
    }
}

TEST(SampleNode, TakesTheTimeOfReadingForATimeThatIsNone) {
    TestType layout({});
    for (const std::string kept : {"1", "9223372036854775807"}) {
        const Timestamp time = ReadNode(layout.type, kept, {}).GetTimeStamp();
        EXPECT_EQ(std::to_string(time.epochMicroseconds()), kept);
    }
    // Any time that a clock tells lies between this one and the largest.
    const Timestamp soon(1000000000);
    for (const char* none :
         {"0", "-5", "9223372036854775808", "18446744073709551616", "12abc", ""}) {
        const Timestamp time = ReadNode(layout.type, none, {}).GetTimeStamp();
        EXPECT_TRUE(soon < time && time < Timestamp::TIMEVAL_MAX) << none;
    }
    const Sample bare(&layout.type, Serializer<NodeRef>(), test::BuiltTree({}).Root());
    EXPECT_LT(soon, bare.GetTimeStamp());
}

}  // namespace
}  // namespace velmora::core::tessaryn
