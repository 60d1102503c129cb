// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/field.h"

#include "support/ring_model.h"
#include "support/thrown.h"
#include "tessaryn/column.h"
#include "tessaryn/errors.h"
#include "tessaryn/sample_texts.h"

#include <gtest/gtest.h>

#include <array>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

const Timestamp longAgo(1);

// One entry of each type of numbers, named after it, with two elements.
struct Numbers {
    Numbers() {
        for (unsigned short type = Int8; type <= Bool; ++type) {
            layout.type.Add(ToString(BaseType(type)), BaseType(type), 2);
        }
    }
    TestType layout{{"before", String, 3}};
};

template <class T>
class FieldOf : public testing::Test {};
using NumberTypes = testing::Types<char, short, int, long long, unsigned char, unsigned short,
                                   unsigned int, unsigned long long, float, double, bool, long>;
TYPED_TEST_SUITE(FieldOf, NumberTypes);

TYPED_TEST(FieldOf, ReadsAndWritesWhatGettersRead) {
    using T = TypeParam;
    const Numbers numbers;
    const std::string name = ToString(detail::NumberType<T>());
    const Field<T> field(numbers.layout.type, name);
    Sample sample(const_cast<StreamType*>(&numbers.layout.type), longAgo);
    field.SetKeepingTime(sample, 1, T{1});
    EXPECT_EQ(sample.GetTimeStamp(), longAgo);
    EXPECT_EQ(GetNumber<T>(sample, field.GetEntry(), 1), T{1});
    EXPECT_EQ(field(sample), T{0});
    field.Set(sample, T{1});
    EXPECT_NE(sample.GetTimeStamp(), longAgo);
    EXPECT_EQ(field(sample), T{1});

    if constexpr (!std::is_same_v<T, long>) {
        const std::array<T, 2> values{T{0}, T{1}};
        sample = Restamped(sample, longAgo);
        sample.Set(field.GetEntry(), 0, std::span(values));
        EXPECT_NE(sample.GetTimeStamp(), longAgo);
        EXPECT_EQ(field(sample, 0), T{0});
        EXPECT_EQ(field(sample, 1), T{1});
        sample = Restamped(sample, longAgo);
        EXPECT_THROW(sample.Set(field.GetEntry(), 1, std::span(values)), std::out_of_range);
        EXPECT_THROW(sample.Set(0, 0, std::span<const double>()), TypeMismatchException);
        EXPECT_EQ(field(sample, 1), T{1});
        EXPECT_EQ(sample.GetTimeStamp(), longAgo);
    }
}

// The class reports other values than its memory holds.
class Pretender : public Sample {
  public:
    using Sample::Sample;
    double GetDouble(unsigned short /*entry*/, unsigned int /*index*/) const override { return 7; }
    unsigned int GetSize(unsigned short /*entry*/) const override { return 9; }
};

TEST(Field, AccessesTheMemoryOfADerivedSample) {
    TestType layout{{"x", Double, 2}};
    const Field<double> field(layout.type, "x");
    Pretender sample(&layout.type, longAgo);
    field.SetKeepingTime(sample, 2.5);
    EXPECT_EQ(field(sample), 2.5);
    EXPECT_EQ(field.GetSize(sample), 2U);
    EXPECT_THROW(field(sample, 2), std::out_of_range);
}

TEST(Field, RefusesOtherEntriesAndOtherSamples) {
    TestType layout{{"x", Double, 2}, {"s", String, 1}};
    TestType equal{{"x", Double, 2}, {"s", String, 1}, {"new", Bool, 1}};
    EXPECT_THROW(Field<double>(layout.type, "y"), EntryNotFoundException);
    EXPECT_THROW(Field<double>(layout.type, 2), std::out_of_range);
    EXPECT_THROW(Field<float>(layout.type, "x"), TypeMismatchException);
    EXPECT_THROW(Field<char>(layout.type, "s"), TypeMismatchException);

    const Field<double> field(layout.type, "x");
    Sample other(&equal.type, longAgo);
    Sample none;
    Sample sample(&layout.type, longAgo);
    const std::string who = "The field 'x' of stream type 'Root.Pos' cannot access a sample ";
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { field(other); }),
              who + "of stream type 'Root.Pos'.");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { field.Set(none, 1.0); }),
              who + "without a stream type.");
    for (const unsigned int index : {2U, 536870912U, 4294967295U}) {
        EXPECT_EQ(MessageOf<std::out_of_range>([&] { field.Set(sample, index, 1.0); }),
                  "Element " + std::to_string(index) + " of entry 'x' does not exist: it has 2.");
    }
    EXPECT_EQ(sample.GetTimeStamp(), longAgo);
    // A type that got an entry which the sample does not have.
    layout.type.Add("late", Double, 1);
    EXPECT_THROW(Field<double>(layout.type, "late")(sample), std::out_of_range);
}

TEST(Field, OfATextReplacesIt) {
    TestType layout{{"s", String, 1}, {"x", Int32, 1}};
    const Field<std::string> text(layout.type, "s");
    const Field<int> number(layout.type, "x");
    Sample sample(&layout.type, longAgo);
    number.SetKeepingTime(sample, 5);
    for (const std::string value : {"longer", "short", ""}) {
        text.SetKeepingTime(sample, value);
        EXPECT_EQ(text(sample), value);
        EXPECT_EQ(number(sample), 5);
    }
    EXPECT_EQ(sample.GetTimeStamp(), longAgo);
    text.Set(sample, "now");
    EXPECT_NE(sample.GetTimeStamp(), longAgo);
    EXPECT_EQ(sample.GetString(0), "now");
}

TEST(SetTexts, SetsAllOrNone) {
    TestType layout{{"x", Int32, 2}, {"a", String, 9}, {"b", String, 0}, {"y", Double, 1}};
    Sample sample(&layout.type, longAgo);
    sample.Set(0, 1, 5);
    sample.Set(3, 0, 2.5);
    Sample expected = sample;
    expected.Set(1, std::string("long and longer"));
    expected.Set(2, std::string(1, '\0'));
    sample = Restamped(sample, longAgo);
    const std::vector<std::string_view> texts{"long and longer", std::string_view("\0", 1), "c"};
    EXPECT_THROW(SetTexts(sample, 1, texts), TypeMismatchException);
    EXPECT_THROW(SetTexts(sample, 2, std::span(texts).first(2)), TypeMismatchException);
    EXPECT_THROW(SetTexts(sample, 4, std::span(texts).first(1)), std::out_of_range);
    EXPECT_EQ(sample.GetTimeStamp(), longAgo);
    SetTexts(sample, 1, std::span(texts).first(2));
    EXPECT_EQ(BinaryOf(sample), BinaryOf(expected));
    EXPECT_NE(sample.GetTimeStamp(), longAgo);
}

TEST(Column, BeginsWithTheSampleThatWasPushedFirst) {
    TestType layout{{"id", Int32, 1}};
    Stream stream(&layout.type, 4);
    const Field<int> id(layout.type, "id");
    for (int number = 1; number <= 6; ++number) {
        auto* const sample = new Sample(&layout.type, Timestamp(number == 5 ? 1 : number * 10));
        id.SetKeepingTime(*sample, number);
        stream.PushNew(sample);
    }
    std::vector<int> values{7};
    std::vector<Timestamp::TimeVal> times;
    Column(stream, 0, Timestamp(40), values, &times);
    EXPECT_EQ(values, (std::vector<int>{4, 6}));
    EXPECT_EQ(times, (std::vector<Timestamp::TimeVal>{40, 60}));
    Column(stream, id, Timestamp(0), values);
    EXPECT_EQ(values, (std::vector<int>{3, 4, 5, 6}));
    stream.ChangeLatest([](Sample& sample) { sample.Resize(0, 0); }, false);
    EXPECT_THROW(Column(stream, id, Timestamp(0), values), std::out_of_range);
}

}  // namespace
}  // namespace velmora::core::tessaryn
