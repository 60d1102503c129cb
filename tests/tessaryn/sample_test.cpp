// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/allocation_probe.h"
#include "support/comma_locale.h"
#include "support/random.h"
#include "support/sample_model.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"
#include "tessaryn/sample_check.h"

#include <gtest/gtest.h>

#include <array>
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

using namespace test;
using Poco::Timestamp;
using serialization::NodeRef;
using serialization::SerializationException;
using serialization::Serializer;

const Timestamp longAgo(1);

TEST(SampleUse, ChangesAndTellsAsAModelDoes) {
    Random random;
    for (int round = 0; round < 60; ++round) {
        TestType layout({});
        std::vector<std::string> entries;
        for (int i = 0; i < 13; ++i) {
            const auto type = static_cast<BaseType>(Int8 + random.Below(12));
            layout.type.Add(std::string(1, static_cast<char>('a' + i)), type, 1);
            entries.emplace_back(SizeOf(type) * random.Below(4), '\2');
        }
        samples::SampleModel modelled(layout.type, BinaryForm(entries), random);
        for (int step = 0; step < 100; ++step) {
            ASSERT_NO_FATAL_FAILURE(modelled.Step());
        }
    }
}

TEST(SampleUse, EndsAt32BitsAndAtTheLastEntry) {
    TestType layout({{"x", Int32, 4}, {"s", String, 4}, {"u", UInt64, 1}});
    Sample sample(&layout.type, longAgo);
    const std::string before = BinaryOf(sample);
    for (const unsigned int tooMany : {0xFFFFFFFFU, 0xFFFFFFF0U}) {
        EXPECT_THROW(sample.Resize(1, tooMany), std::length_error);
        EXPECT_THROW(sample.Resize(2, tooMany), std::length_error);
        EXPECT_NO_THROW(sample.Resize(3, 5));
        EXPECT_NO_THROW(sample.Resize(StreamType::invalidEntryId, 5));
        EXPECT_EQ(BinaryOf(sample), before);
    }
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { Sample(nullptr, longAgo); }),
              "Sample needs a valid stream type.");
}

TEST(SampleUse, NamesTheEntryThatDoesNotExist) {
    TestType layout({{"x", Int32, 1}, {"s", String, 0}});
    const std::string wrongId = "Entry 2 does not exist in stream type 'Root.Pos', which has 2.";
    const std::string noType = "Entry 0 does not exist: the sample has no stream type.";
    const std::pair<unsigned short, std::string> cases[] = {{2, wrongId}, {0, noType}};
    for (const auto& [entry, message] : cases) {
        Sample sample(&layout.type, longAgo);
        if (entry == 0) {
            const Sample taken(std::move(sample));
        }
        const auto refused = [&](auto access) { return MessageOf<std::out_of_range>(access); };
        EXPECT_EQ(refused([&] { sample.GetInt32(entry, 0); }), message);
        EXPECT_EQ(refused([&] { sample.GetString(entry); }), message);
        EXPECT_EQ(refused([&] { sample.Set(entry, 0, 5); }), message);
        EXPECT_EQ(refused([&] { sample.Set(entry, "text"); }), message);
        EXPECT_EQ(sample.GetSize(entry), 0U);
        EXPECT_NO_THROW(sample.Resize(entry, 3));
        EXPECT_EQ(MessageOf<std::runtime_error>([&] { sample.Set(entry, 0, "1"); }),
                  "unknown type in ");
    }
}

template <class... Arguments>
concept CanSet = requires(Sample& sample, Arguments... arguments) {
    sample.Set(arguments...);
};

TEST(SampleUse, TakesTheIntegersOfThePlatformAndRefusesSlips) {
    static_assert(CanSet<unsigned short, const char*> && CanSet<unsigned short, std::string>);
    static_assert(CanSet<unsigned short, int, char*> && CanSet<unsigned short, int, bool>);
    static_assert(!CanSet<unsigned short, int> && !CanSet<unsigned short, double>);
    static_assert(!CanSet<unsigned short, char> && !CanSet<unsigned short, std::nullptr_t>);
    static_assert(!CanSet<unsigned short, int, int*> && !CanSet<unsigned short, int, void*>);
    static_assert(!CanSet<unsigned short, int, const Sample*>);
    static_assert(!CanSet<unsigned short, int, std::nullptr_t>);
    static_assert(!CanSet<unsigned short, int, void (*)()>);
    TestType layout({{"a", Int64, 1}, {"b", UInt64, 1}, {"c", Int8, 1}});
    Sample sample(&layout.type, longAgo);
    sample.Set(0, 0, std::int64_t{-5});
    sample.Set(1, 0, std::size_t{5});
    sample.Set(2, 0, std::int8_t{-6});
    EXPECT_EQ(BinaryOf(sample), BinaryForm({BytesOf(-5LL), BytesOf(5ULL), BytesOf(char{-6})}));
    EXPECT_NE(sample.GetTimeStamp(), longAgo);
}

TEST(SampleCopies, MayHaveAnotherTime) {
    TestType layout({{"x", Int32, 1}, {"s", String, 0}});
    Sample source(&layout.type, longAgo);
    ReadBinary(source, BinaryForm({BytesOf(17), "abc"}));
    for (const long long time : {-5LL, 0LL, 7LL}) {
        const Sample restamped = Restamped(source, Timestamp(time));
        EXPECT_EQ(restamped.GetTimeStamp(), Timestamp(time));
        EXPECT_EQ(BinaryOf(restamped), BinaryOf(source));
        EXPECT_EQ(source.GetTimeStamp(), longAgo);
    }
}

TEST(SampleCopies, AreValues) {
    TestType layout({{"x", Int32, 1}, {"s", String, 0}});
    const Sample empty;
    Sample source(&layout.type, longAgo);
    const std::string binary = BinaryForm({BytesOf(17), "abc"});
    ReadBinary(source, binary);
    Sample copy(source);
    Sample assigned(empty);
    assigned = source;
    Sample& self = assigned;
    assigned = self;
    for (Sample* same : {&copy, &assigned}) {
        EXPECT_EQ(BinaryOf(*same), binary);
        EXPECT_EQ(same->GetTimeStamp(), longAgo);
        same->Set(1, "changed");
        EXPECT_EQ(BinaryOf(source), binary);
    }
    copy = empty;
    assigned = Sample(std::move(source));
    EXPECT_EQ(BinaryOf(assigned), binary);
    for (const Sample& none : {Sample(), Sample(empty), Sample(source), Sample(copy)}) {
        EXPECT_EQ(none.GetStreamType(), nullptr);
        EXPECT_EQ(none.GetSerializedSizeInBytes(), 0U);
        EXPECT_EQ(BinaryOf(none), "");
    }
}

TEST(SampleMemory, IsNotLeftWhenTheTypeChangesAfterwards) {
    // Whatever can be done, for a sanitizer to look at.
    const auto touchAll = [](Sample& sample, unsigned short entry) {
        const auto touch = [](auto&& action) { MessageOf<std::runtime_error>(action); };
        touch([&] { sample.GetInt64(entry, 0); });
        touch([&] { sample.GetString(entry); });
        touch([&] { sample.Set(entry, 1, 5LL); });
        touch([&] { sample.Set(entry, 3, "77"); });
        touch([&] { sample.Set(entry, "some text"); });
        touch([&] { sample.Resize(entry, 3); });
        sample = Sample(sample);
    };
    for (const BaseType added : {Int64, Double, String}) {
        TestType layout({{"x", Int16, 1}, {"s", String, 3}});
        Sample sample(&layout.type, longAgo);
        const std::string before = BinaryOf(sample);
        layout.type.Add("new", added, 2);
        EXPECT_EQ(sample.GetSize(2), 0U);
        touchAll(sample, 2);
        EXPECT_EQ(BinaryOf(sample), before);

        Sample longer(&layout.type, longAgo);
        const std::string whole = BinaryOf(longer);
        layout.type.Remove(1);
        longer.Resize(2, 2);
        EXPECT_EQ(BinaryOf(longer), whole) << "the entry is gone";
        for (unsigned short entry = 0; entry < 2; ++entry) {
            touchAll(longer, entry);
        }
        EXPECT_EQ(BinaryOf(longer).size(), longer.GetSerializedSizeInBytes());
    }
}

// Overrides what the sample asks itself.
struct Overriding : Sample {
    using Sample::Sample;
    unsigned int GetSize(unsigned short) const override { return 1; }
    void Resize(unsigned short entry, unsigned int) override { Sample::Resize(entry, 2); }
    StreamType* GetStreamType() const override { return other; }
    StreamType* other = nullptr;
};

TEST(SampleOverrides, AreAskedFromInsideTheSample) {
    TestType layout({{"x", Int32, 2}, {"s", String, 4}});
    TestType other({{"y", Float, 2}, {"x", String, 4}});
    Overriding sample(&layout.type, longAgo);
    sample.other = &other.type;
    EXPECT_THROW(sample.GetInt32(0, 0), TypeMismatchException);
    EXPECT_EQ(sample.GetFloat(0, 0), 0.0F);
    EXPECT_THROW(sample.GetFloat(0, 1), std::out_of_range);
    sample.Set(1, "abcdef");
    EXPECT_EQ(sample.GetString(1), "a");
    EXPECT_EQ(BinaryOf(sample), BinaryForm({std::string(8, '\0'), "ab"}));
    EXPECT_EQ(sample.EntryId("x"), 1);
}

// Claims to have more elements than its memory holds.
struct Boastful : Sample {
    using Sample::Sample;
    unsigned int GetSize(unsigned short) const override { return 1000; }
};

TEST(SampleOverrides, DoNotLeadOutOfMemory) {
    TestType layout({{"x", Int32, 2}, {"b", Int8, 4}});
    Boastful sample(&layout.type, longAgo);
    layout.type.Add("later", Int32, 1);
    sample.Set(0, 2, 7);
    EXPECT_EQ(sample.GetInt32(0, 1), 0);
    const std::string before = BinaryOf(sample);
    const std::pair<unsigned short, unsigned int> outside[] = {
        {0, 3}, {0, 999}, {1, 3}, {2, 0}, {2, 999}};
    for (const auto& [entry, index] : outside) {
        const auto refused = [&](auto access) { return MessageOf<std::out_of_range>(access); };
        EXPECT_EQ(refused([&] { sample.GetInt8(entry, 4 * index); }), "Index out of range.");
        EXPECT_EQ(refused([&] { sample.Set(entry, 4 * index, 'x'); }), "Index out of range.");
        EXPECT_EQ(refused([&] { sample.GetString(entry); }), "Index out of range.");
    }
    EXPECT_EQ(BinaryOf(sample), before);
}

TEST(SampleText, OfFloatingPointIsThatOfAnOutputStream) {
    TestType layout({{"f", Float, 1}, {"d", Double, 1}});
    Sample sample(&layout.type, longAgo);
    Random random;
    const CommaLocale comma;
    const auto written = [](auto value) {
        std::ostringstream out;
        out.imbue(std::locale::classic());
        out.precision(std::numeric_limits<decltype(value)>::digits10);
        out << value;
        return out.str();
    };
    std::vector<double> values = {999999.5, 999999999999999.5, 0.0001, -0.0,
                                  INFINITY, -INFINITY,         NAN,    -NAN};
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
        ReadBinary(sample, BinaryForm({"12345678", tested.former}));
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
        if (isShort) {
            bytes = BytesOf(0U) + BytesOf(8U) + BytesOf(~0U) + large.substr(12);
        }
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
}

TEST(SampleBinary, OfTheSameLengthIsReadTwiceWithoutAllocation) {
    const std::pair<std::size_t, unsigned int> entriesAndElements[] = {
        {1, 0}, {1, 1}, {2, 600}, {200, 1}, {300, 20}, {1, 1000000}};
    for (const auto& [entries, elements] : entriesAndElements) {
        TestType layout({});
        for (std::size_t i = 0; i < entries; ++i) {
            layout.type.Add(std::to_string(i), UInt8, elements);
        }
        const std::string bytes =
            BinaryForm(std::vector<std::string>(entries, std::string(elements, 'x')));
        Sample sample(&layout.type, longAgo);
        Pipe pipe(bytes);
        std::istream in(&pipe);
        const AllocationProbe probe;
        sample.Deserialize(in);
        EXPECT_EQ(AllocationProbe::Count(), 0) << entries << " entries of " << elements;
        EXPECT_EQ(pipe.reads, 2);
        EXPECT_EQ(BinaryOf(sample), bytes);
    }
}

// Uses the sample that is being read, as a host's stream may.
class Meddler : public Pipe {
  public:
    Meddler(const std::string& bytes, Sample& sample) : Pipe(bytes), sample(sample) {}

  protected:
    std::streamsize xsgetn(char* to, std::streamsize count) override {
        EXPECT_EQ(sample.GetSize(0), 0U);
        const std::streamsize got = Pipe::xsgetn(to, count);
        EXPECT_THROW(sample.GetUInt8(0, 0), std::out_of_range);
        EXPECT_EQ(BinaryOf(sample), "");
        sample = Sample();
        return got;
    }

  private:
    Sample& sample;
};

TEST(SampleBinary, MayBeUsedByTheStreamThatItIsReadFrom) {
    for (const unsigned int elements : {3U, 3000U}) {
        TestType layout({{"x", UInt8, elements}});
        Sample sample(&layout.type, longAgo);
        const std::string bytes = BinaryForm({std::string(elements, 'x')});
        Meddler meddler(bytes, sample);
        std::istream in(&meddler);
        in.exceptions(std::ios::badbit);
        sample.Deserialize(in);
        EXPECT_EQ(BinaryOf(sample), bytes);
        EXPECT_EQ(sample.GetUInt8(0, 0), 'x');
    }
}

// A large block is read in place: what a throw leaves is some of each, within the memory.
TEST(SampleBinary, ThatThrowsLeavesASampleThatCanBeUsed) {
    TestType layout({});
    for (int i = 0; i < 300; ++i) {
        layout.type.Add(std::to_string(i), Int32, 1);
    }
    for (const std::size_t length : {100U, 1204U, 1300U}) {
        Sample sample(&layout.type, longAgo);
        std::istringstream in(std::string(length, '\xFF'));
        in.exceptions(std::ios::failbit);
        EXPECT_THROW(sample.Deserialize(in), std::ios::failure);
        samples::PartsOf(BinaryOf(sample), layout.type);
        for (unsigned short entry = 0; entry < 300; ++entry) {
            sample.Resize(entry, 1);
            sample.Set(entry, 0, 7);
        }
        EXPECT_EQ(sample.GetInt32(299, 0), 7);
    }
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
            bytes += BytesOf(tested.offsets[i]);
            expected += BytesOf(tested.kept[i]);
        }
        ReadBinary(sample, bytes + "12345678abc");
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
        return BytesOf(first) + BytesOf(second) + BytesOf(third) + "12345678abc";
    };
    const std::pair<std::string, std::string> cases[] = {
        {golden, ""},
        {BinaryForm({"", ""}), ""},
        {golden.substr(0, 11), "The offsets take 12 bytes, but there are only 11."},
        {bytes(1, 8, 11), "The first entry begins at byte 1, not at 0."},
        {bytes(0, 8, 6), "Entry 's' ends at byte 6, before it begins at byte 8."},
        {bytes(0, 7, 11), "Entry 'x' has 7 bytes, which elements of 4 bytes don't fill."},
        {bytes(0, 8, 10), "The entries end at byte 10, but there are 11 bytes of elements."},
        {bytes(0, 8, 12), "The entries end at byte 12, but there are 11 bytes of elements."},
        {bytes(0, 4, 11), "Entry 's' has 7 elements: more than the limit of 5."},
        {BinaryForm({std::string(100, 'x'), ""}),
         "The sample has 112 bytes: more than the limit of 100."}};
    for (const auto& [block, message] : cases) {
        EXPECT_EQ(CheckSample(block, layout.type, {100, 5}), message);
    }
    EXPECT_EQ(CheckSample(BinaryForm({std::string(100, 'x'), ""}), layout.type), "");
}

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
    const Sample bare(&layout.type, Serializer<NodeRef>(), BuiltTree({}).Root());
    EXPECT_LT(soon, bare.GetTimeStamp());
}

}  // namespace
}  // namespace velmora::core::tessaryn
