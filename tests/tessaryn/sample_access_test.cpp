// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/random.h"
#include "support/samples.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"
#include "tessaryn/sample.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using Poco::Timestamp;
using test::BinaryForm;
using test::BinaryOf;
using test::BytesOf;
using test::MessageOf;
using test::TestType;

const Timestamp longAgo(1);

template <class Action>
void ExpectMismatch(BaseType declared, BaseType requested, Action action) {
    EXPECT_EQ(MessageOf<TypeMismatchException>(action), "Type '" + ToString(declared) +
                                                            "' is not compatible with type '" +
                                                            ToString(requested) + "'.\n");
}

/// Reads and writes elements 0 to 2 of a two-element entry through the accessors of one type.
template <class T>
void ExpectAccess(BaseType declared, T (Sample::*get)(unsigned short, unsigned int) const) {
    const BaseType requested = GetBaseType<T>();
    SCOPED_TRACE(ToString(declared) + " through " + ToString(requested));
    TestType layout({{"before", UInt8, 3}, {"x", declared, 2}, {"after", UInt8, 3}});
    const std::string bytes =
        std::string("\x11\x12\x13\x14\x15\x16\x17\x18\x21\x22\x23\x24\x25\x26\x27\x28")
            .substr(0, 2 * SizeOf(declared));
    for (unsigned int index = 0; index < 3; ++index) {
        Sample sample(&layout.type, longAgo);
        test::ReadBinary(sample, BinaryForm({"abc", bytes, "def"}));
        const auto value = static_cast<T>(1);
        const auto getting = [&] { return (sample.*get)(1, index); };
        const auto setting = [&] { sample.Set(1, index, value); };
        std::string expected = bytes;
        if (!TypesAreCompatible(declared, requested)) {
            ExpectMismatch(declared, requested, getting);
            ExpectMismatch(declared, requested, setting);
        } else if (index == 2) {
            EXPECT_EQ(MessageOf<std::out_of_range>(getting), "Index out of range.");
            EXPECT_EQ(MessageOf<std::out_of_range>(setting), "Index out of range.");
        } else {
            const std::string stored = bytes.substr(index * sizeof(T), sizeof(T));
            EXPECT_EQ(BytesOf(getting()), requested == Bool ? BytesOf(true) : stored);
            EXPECT_EQ(sample.GetTimeStamp(), longAgo);
            setting();
            expected.replace(index * sizeof(T), sizeof(T), BytesOf(value));
        }
        EXPECT_EQ(BinaryOf(sample), BinaryForm({"abc", expected, "def"}));
        EXPECT_EQ(sample.GetTimeStamp() == longAgo, expected == bytes);
    }
}

TEST(SampleAccess, ChecksTypeThenIndexAndCountsInTheAccessorsWidth) {
    for (unsigned short i = Int8; i <= String; ++i) {
        const auto declared = static_cast<BaseType>(i);
        const auto expectAccess = [&](auto... get) { (ExpectAccess(declared, get), ...); };
        expectAccess(&Sample::GetInt8, &Sample::GetInt16, &Sample::GetInt32, &Sample::GetInt64,
                     &Sample::GetUInt8, &Sample::GetUInt16, &Sample::GetUInt32, &Sample::GetUInt64,
                     &Sample::GetFloat, &Sample::GetDouble, &Sample::GetBool);
        TestType layout({{"x", declared, 2}});
        Sample sample(&layout.type, longAgo);
        test::ReadBinary(sample, BinaryForm({std::string(2 * SizeOf(declared), 'q')}));
        if (TypesAreCompatible(declared, Int8))
            EXPECT_EQ(sample.GetString(0), "qq");
        else
            ExpectMismatch(declared, Int8, [&] { sample.GetString(0); });
        if (!TypesAreCompatible(declared, String))
            ExpectMismatch(declared, String, [&] { sample.Set(0, "a"); });
    }
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
        const Timestamp before = sample.GetTimeStamp();
        if (random.Below(2) == 0) {
            sample.Resize(entry, count);
            model[entry].resize(count * width, '\0');
        } else if (width == 1) {
            model[entry] = std::string(count, static_cast<char>(random.Below(256)));
            sample.Set(entry, model[entry]);
            ASSERT_EQ(sample.GetString(entry), model[entry]);
            ASSERT_NE(sample.GetTimeStamp(), longAgo);
            sample = Sample(&layout.type, longAgo);
            test::ReadBinary(sample, BinaryForm(model));
        } else if (count < sample.GetSize(entry)) {
            const unsigned number = random.Below(65536);
            sample.Set(entry, count, std::to_string(number));
            const std::string bytes = types[entry] == Double ? BytesOf(static_cast<double>(number))
                                                             : BytesOf(std::uint64_t{number});
            model[entry].replace(count * width, width, bytes.substr(0, width));
        }
        ASSERT_EQ(sample.GetTimeStamp(), before);
        ASSERT_EQ(sample.GetSize(entry), model[entry].size() / width);
        ASSERT_EQ(BinaryOf(sample), BinaryForm(model)) << "after step " << step;
    }
    for (const unsigned int tooMany : {0xFFFFFFFFU, 0xFFFFFFF0U}) {
        sample.Set(1, "text");
        model[1] = "text";
        EXPECT_THROW(sample.Resize(1, tooMany), std::length_error);
        EXPECT_THROW(sample.Resize(5, tooMany), std::length_error);
        EXPECT_NO_THROW(sample.Resize(6, 5));
        EXPECT_NO_THROW(sample.Resize(StreamType::invalidEntryId, 5));
        EXPECT_EQ(BinaryOf(sample), BinaryForm(model));
    }
}

TEST(SampleCopies, ArePlainValues) {
    TestType layout({{"x", Int32, 1}, {"s", String, 0}});
    const Sample empty;
    Sample source(&layout.type, longAgo);
    source.Set(0, 0, " 17 apples");
    test::ReadBinary(source, BinaryForm({BytesOf(source.GetInt32(0, 0)), "abc"}));
    const std::string binary = BinaryForm({BytesOf(17), "abc"});
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
    Sample moved(std::move(source));
    EXPECT_EQ(moved.GetTimeStamp(), longAgo);
    assigned = std::move(moved);
    EXPECT_EQ(BinaryOf(assigned), binary);
    for (const Sample& none : {Sample(), Sample(empty), Sample(source), Sample(copy)}) {
        EXPECT_EQ(none.GetStreamType(), nullptr);
        EXPECT_EQ(none.GetSerializedSizeInBytes(), 0U);
        EXPECT_EQ(BinaryOf(none), "");
    }
}

/// Does with an entry whatever can be done, for a sanitizer to look at.
void TouchAll(Sample& sample, unsigned short entry) {
    const auto touch = [](auto&& action) { MessageOf<std::runtime_error>(action); };
    touch([&] { sample.GetInt64(entry, 0); });
    touch([&] { sample.GetString(entry); });
    touch([&] { sample.Set(entry, 1, 5LL); });
    touch([&] { sample.Set(entry, 3, "77"); });
    touch([&] { sample.Set(entry, "some text"); });
    touch([&] { sample.Resize(entry, 3); });
    sample = Sample(sample);
}

TEST(SampleMemory, IsNotLeftWhenTheTypeChangesAfterwards) {
    for (const BaseType added : {Int64, Double, String}) {
        TestType layout({{"x", Int16, 1}, {"s", String, 3}});
        Sample sample(&layout.type, longAgo);
        const std::string before = BinaryOf(sample);
        layout.type.Add("new", added, 2);
        EXPECT_EQ(sample.GetSize(2), 0U);
        TouchAll(sample, 2);
        EXPECT_EQ(BinaryOf(sample), before);

        Sample longer(&layout.type, longAgo);
        const std::string whole = BinaryOf(longer);
        layout.type.Remove(1);
        longer.Resize(2, 2);
        EXPECT_EQ(BinaryOf(longer), whole) << "the entry is gone";
        for (unsigned short entry = 0; entry < 2; ++entry)
            TouchAll(longer, entry);
        EXPECT_EQ(BinaryOf(longer).size(), longer.GetSerializedSizeInBytes());
    }
}

/// Overrides what the sample asks itself.
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

}  // namespace
}  // namespace velmora::core::tessaryn
