// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/allocation_probe.h"
#include "support/random.h"
#include "support/samples.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"
#include "tessaryn/sample.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using Poco::Timestamp;
using test::AllocationProbe;
using test::BinaryForm;
using test::BinaryOf;
using test::BytesOf;
using test::MessageOf;
using test::TestType;

const Timestamp longAgo(1);

std::string Mismatch(BaseType declared, BaseType requested) {
    return TypeMismatchException(declared, requested).what();
}

/// Reads and writes elements 0 to 2 of a two-element entry through the accessors of one type.
template <class T>
void ExpectAccess(BaseType declared, T (Sample::*get)(unsigned short, unsigned int) const) {
    const BaseType requested = GetBaseType<T>();
    SCOPED_TRACE(ToString(declared) + " through " + ToString(requested));
    TestType layout({{"before", UInt8, 3}, {"x", declared, 2}, {"after", UInt8, 3}});
    const std::string pattern = "\x11\x12\x13\x14\x15\x16\x17\x18";
    std::string bytes = pattern + pattern;
    bytes.resize(2 * SizeOf(declared));
    for (unsigned int index = 0; index < 3; ++index) {
        Sample sample(&layout.type, longAgo);
        test::ReadBinary(sample, BinaryForm({"abc", bytes, "def"}));
        const std::size_t position = index * sizeof(T);
        T value{};
        std::memcpy(&value, "\1\x22\x23\x24\x25\x26\x27\x28", sizeof value);
        const auto getting = [&] { (sample.*get)(1, index); };
        const auto setting = [&] { sample.Set(1, index, value); };
        std::string expected = bytes;
        if (!TypesAreCompatible(declared, requested)) {
            EXPECT_EQ(MessageOf<TypeMismatchException>(getting), Mismatch(declared, requested));
            EXPECT_EQ(MessageOf<TypeMismatchException>(setting), Mismatch(declared, requested));
        } else if (index == 2) {
            EXPECT_EQ(MessageOf<std::out_of_range>(getting), "Index out of range.");
            EXPECT_EQ(MessageOf<std::out_of_range>(setting), "Index out of range.");
        } else {
            const std::string stored =
                requested == Bool ? BytesOf(true) : bytes.substr(position, sizeof(T));
            EXPECT_EQ(BytesOf((sample.*get)(1, index)), stored);
            EXPECT_EQ(sample.GetTimeStamp(), longAgo);
            setting();
            EXPECT_NE(sample.GetTimeStamp(), longAgo);
            expected.replace(position, sizeof(T), BytesOf(value));
            EXPECT_EQ(BytesOf((sample.*get)(1, index)), BytesOf(value));
        }
        EXPECT_EQ(BinaryOf(sample), BinaryForm({"abc", expected, "def"}));
        EXPECT_EQ(sample.GetTimeStamp() == longAgo, expected == bytes);
    }
}

TEST(SampleAccess, ChecksTypeThenIndexAndCountsInTheAccessorsWidth) {
    for (unsigned short i = Int8; i <= String; ++i) {
        const auto declared = static_cast<BaseType>(i);
        ExpectAccess(declared, &Sample::GetInt8);
        ExpectAccess(declared, &Sample::GetInt16);
        ExpectAccess(declared, &Sample::GetInt32);
        ExpectAccess(declared, &Sample::GetInt64);
        ExpectAccess(declared, &Sample::GetUInt8);
        ExpectAccess(declared, &Sample::GetUInt16);
        ExpectAccess(declared, &Sample::GetUInt32);
        ExpectAccess(declared, &Sample::GetUInt64);
        ExpectAccess(declared, &Sample::GetFloat);
        ExpectAccess(declared, &Sample::GetDouble);
        ExpectAccess(declared, &Sample::GetBool);
    }
}

TEST(SampleAccess, TakesWholeStringsOfCharactersAndTheFirstBytesOfWiderEntries) {
    const std::string value("a\0b", 3);
    for (unsigned short i = Int8; i <= String; ++i) {
        const auto declared = static_cast<BaseType>(i);
        SCOPED_TRACE(ToString(declared));
        TestType layout({{"x", declared, 2}, {"after", UInt8, 1}});
        Sample sample(&layout.type, longAgo);
        const std::string bytes(2 * SizeOf(declared), 'q');
        test::ReadBinary(sample, BinaryForm({bytes, "z"}));
        if (TypesAreCompatible(declared, Int8))
            EXPECT_EQ(sample.GetString(0), "qq");
        else
            EXPECT_EQ(MessageOf<TypeMismatchException>([&] { sample.GetString(0); }),
                      Mismatch(declared, Int8));
        if (TypesAreCompatible(declared, String)) {
            sample.Set(0, value);
            EXPECT_EQ(sample.GetString(0), value);
            EXPECT_EQ(BinaryOf(sample), BinaryForm({value, "z"}));
            EXPECT_NE(sample.GetTimeStamp(), longAgo);
            sample.Set(0, "");
            EXPECT_EQ(sample.GetString(0), "");
        } else {
            EXPECT_EQ(MessageOf<TypeMismatchException>([&] { sample.Set(0, value); }),
                      Mismatch(declared, String));
            EXPECT_EQ(BinaryOf(sample), BinaryForm({bytes, "z"}));
        }
    }
}

TEST(SampleAccess, StampsOnTypedAndWholeStringSetsOnly) {
    TestType layout({{"x", Int32, 2}, {"s", String, 1}});
    struct Row {
        const char* name;
        std::function<void(Sample&)> change;
        bool stamps;
    };
    const Row table[] = {
        {"typed", [](Sample& s) { s.Set(0, 1, 5); }, true},
        {"same value", [](Sample& s) { s.Set(0, 0, 0); }, true},
        {"whole string", [](Sample& s) { s.Set(1, "abc"); }, true},
        {"text", [](Sample& s) { s.Set(0, 0, std::string("5")); }, false},
        {"literal", [](Sample& s) { s.Set(0, 0, "5"); }, false},
        {"resize", [](Sample& s) { s.Resize(1, 9); }, false},
        {"binary",
         [](Sample& s) {
             test::ReadBinary(s, BinaryForm({"12345678", "z"}));
         },
         false},
        {"refused", [](Sample& s) { EXPECT_THROW(s.Set(0, 2, 5), std::out_of_range); }, false}};
    for (const Row& row : table) {
        Sample sample(&layout.type, longAgo);
        row.change(sample);
        EXPECT_EQ(sample.GetTimeStamp() != longAgo, row.stamps) << row.name;
    }
}

TEST(SampleAccess, ReadsALiteralAsText) {
    TestType layout({{"x", Int32, 2}, {"b", Bool, 1}});
    Sample sample(&layout.type, longAgo);
    sample.Set(0, 1, " 17 apples");
    sample.Set(1, 0, "0");
    EXPECT_EQ(BinaryOf(sample), BinaryForm({BytesOf(0) + BytesOf(17), BytesOf(false)}));
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { Sample(nullptr, longAgo); }),
              "Sample needs a valid stream type.");
}

TEST(SampleResize, MovesLaterEntriesAsAModelDoes) {
    const std::vector<BaseType> types = {Int32, String, Double, UInt16, Int8, UInt64};
    TestType layout({});
    std::vector<std::string> model;
    for (std::size_t i = 0; i < types.size(); ++i) {
        layout.type.Add(std::to_string(i), types[i], static_cast<unsigned int>(i % 3));
        model.emplace_back(i % 3 * SizeOf(types[i]), '\0');
    }
    test::Random random;
    Sample sample(&layout.type, longAgo);
    for (int step = 0; step < 3000; ++step) {
        const auto entry = static_cast<unsigned short>(random.Below(6));
        const unsigned int count = random.Below(5);
        const std::size_t width = SizeOf(types[entry]);
        if (random.Below(2) == 0) {
            sample.Resize(entry, count);
            model[entry].resize(count * width, '\0');
        } else if (width == 1) {
            const std::string value(count, static_cast<char>('a' + random.Below(26)));
            sample.Set(entry, value);
            model[entry] = value;
        } else if (count < sample.GetSize(entry)) {
            const auto number = static_cast<unsigned short>(random.Bits());
            sample.Set(entry, count, std::to_string(number));
            const std::string bytes = types[entry] == Double ? BytesOf(static_cast<double>(number))
                                                             : BytesOf(std::uint64_t{number});
            model[entry].replace(count * width, width, bytes.substr(0, width));
        }
        ASSERT_EQ(sample.GetSize(entry), model[entry].size() / width);
        ASSERT_EQ(BinaryOf(sample), BinaryForm(model)) << "after step " << step;
        if (step % 50 == 0)
            sample = Sample(sample);
    }
}

TEST(SampleResize, RefusesWhat32BitsDoNotAddress) {
    TestType layout({{"x", Double, 1}, {"s", String, 8}, {"t", String, 8}});
    Sample sample(&layout.type, longAgo);
    sample.Set(1, "12345678");
    const std::string before = BinaryOf(sample);
    EXPECT_THROW(sample.Resize(0, 0xFFFFFFFF), std::length_error);
    EXPECT_THROW(sample.Resize(0, 0x20000000), std::length_error);
    EXPECT_THROW(sample.Resize(1, 0xFFFFFFFF), std::length_error);
    EXPECT_THROW(sample.Resize(1, 0xFFFFFFF0), std::length_error);
    EXPECT_NO_THROW(sample.Resize(3, 5));
    EXPECT_NO_THROW(sample.Resize(StreamType::invalidEntryId, 5));
    EXPECT_EQ(BinaryOf(sample), before);
}

TEST(SampleCopies, ArePlainValues) {
    TestType layout({{"x", Int32, 1}, {"s", String, 0}});
    const Sample empty;
    Sample source(&layout.type, longAgo);
    test::ReadBinary(source, BinaryForm({BytesOf(7), "abc"}));
    const std::string binary = BinaryOf(source);
    Sample copy(source);
    Sample assigned(empty);
    assigned = source;
    Sample& self = assigned;
    assigned = self;
    for (Sample* same : {&copy, &assigned}) {
        EXPECT_EQ(BinaryOf(*same), binary);
        EXPECT_EQ(same->GetTimeStamp(), longAgo);
        EXPECT_EQ(same->GetStreamType(), &layout.type);
        same->Set(1, "changed");
        EXPECT_EQ(BinaryOf(source), binary);
    }
    copy = empty;

    Sample moved(std::move(source));
    EXPECT_EQ(BinaryOf(moved), binary);
    EXPECT_EQ(moved.GetTimeStamp(), longAgo);
    EXPECT_NE(source.GetTimeStamp(), longAgo);
    assigned = std::move(moved);
    EXPECT_EQ(BinaryOf(assigned), binary);
    EXPECT_EQ(moved.GetString(1), "changed");
    for (const Sample& none : {Sample(), Sample(empty), Sample(source), Sample(copy)}) {
        EXPECT_EQ(none.GetStreamType(), nullptr);
        EXPECT_EQ(none.GetSerializedSizeInBytes(), 0U);
        EXPECT_EQ(BinaryOf(none), "");
    }
}

/// Does with an entry whatever can be done, for a sanitizer to look at.
void TouchAll(Sample& sample, unsigned short entry) {
    const std::function<void()> touches[] = {
        [&] { sample.GetInt64(entry, 0); },      [&] { sample.GetDouble(entry, 1); },
        [&] { sample.GetString(entry); },        [&] { sample.Set(entry, 1, 5LL); },
        [&] { sample.Set(entry, 3, "77"); },     [&] { ToString(&sample, entry, 0); },
        [&] { sample.Set(entry, "some text"); }, [&] { sample.Resize(entry, 3); },
        [&] { sample = Sample(sample); }};
    for (const auto& touch : touches) {
        try {
            touch();
        } catch (const TypeMismatchException&) {
        } catch (const std::out_of_range&) {
        }
    }
}

TEST(SampleMemory, IsNotLeftWhenTheTypeChangesAfterwards) {
    for (const BaseType added : {Int64, Double, String}) {
        TestType layout({{"x", Int16, 1}, {"s", String, 3}});
        Sample sample(&layout.type, longAgo);
        const std::string before = BinaryOf(sample);
        layout.type.Add("new", added, 2);
        EXPECT_EQ(sample.GetSize(2), 0U);
        EXPECT_THROW(sample.GetDouble(layout.type.EntryId("x"), 0), TypeMismatchException);
        TouchAll(sample, 2);
        EXPECT_EQ(BinaryOf(sample), before);

        Sample longer(&layout.type, longAgo);
        const std::size_t size = BinaryOf(longer).size();
        layout.type.Remove(1);
        EXPECT_EQ(BinaryOf(longer).size(), size);
        for (unsigned short entry = 0; entry < 2; ++entry)
            TouchAll(longer, entry);
        EXPECT_EQ(BinaryOf(longer).size(), longer.GetSerializedSizeInBytes());
    }
}

TEST(SampleMemory, IsTwoAllocationsAndAccessMakesNone) {
    TestType layout({{"x", Int32, 4}, {"s", String, 4}, {"f", Double, 2}});
    const std::string number = "12.25";
    const std::string text = "abcd";
    const AllocationProbe probe;
    Sample sample(&layout.type, longAgo);
    EXPECT_EQ(AllocationProbe::Count(), 2);
    const Sample copy(sample);
    EXPECT_EQ(AllocationProbe::Count(), 4);
    Sample moved(std::move(sample));
    for (unsigned int i = 0; i < 2; ++i) {
        moved.Set(0, i, moved.GetInt32(0, i) + 1);
        moved.Set(2, i, moved.GetDouble(2, i) + 1);
        moved.Set(2, i, number);
        moved.Set(0, i, number);
    }
    moved.Set(1, text);
    EXPECT_EQ(moved.GetSize(1) + moved.GetString(1).size(), 8U);
    EXPECT_EQ(AllocationProbe::Count(), 4);
}

/// Overrides what the sample asks itself.
struct Overriding : Sample {
    using Sample::Sample;
    unsigned int GetSize(unsigned short entry) const override { return entry == 0 ? 1 : 2; }
    void Resize(unsigned short entry, unsigned int count) override {
        resized = count;
        Sample::Resize(entry, count);
    }
    StreamType* GetStreamType() const override {
        return other != nullptr ? other : Sample::GetStreamType();
    }
    unsigned int resized = 0;
    StreamType* other = nullptr;
};

TEST(SampleOverrides, AreAskedFromInsideTheSample) {
    TestType layout({{"x", Int32, 2}, {"s", String, 4}});
    TestType other({{"y", Float, 2}, {"x", String, 4}});
    Overriding sample(&layout.type, longAgo);
    EXPECT_THROW(sample.GetInt32(0, 1), std::out_of_range);
    sample.Set(1, "abcdef");
    EXPECT_EQ(sample.resized, 6U);
    EXPECT_EQ(sample.GetString(1), "ab");
    sample.other = &other.type;
    EXPECT_THROW(sample.GetInt32(0, 0), TypeMismatchException);
    EXPECT_EQ(sample.GetFloat(0, 0), 0.0F);
    EXPECT_EQ(sample.EntryId("x"), 1);
}

}  // namespace
}  // namespace velmora::core::tessaryn
