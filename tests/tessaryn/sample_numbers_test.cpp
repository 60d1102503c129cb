// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample_numbers.h"

#include "support/samples.h"
#include "support/thrown.h"
#include "tessaryn/errors.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

template <class T>
constexpr T maxOf = std::numeric_limits<T>::max();
template <class T>
constexpr T minOf = std::numeric_limits<T>::min();
constexpr double two53 = 9007199254740992;
constexpr double two63 = 9223372036854775808.0;
constexpr double two64 = 18446744073709551616.0;

// A sample with one entry of a type, named after it.
struct OneNumber {
    explicit OneNumber(BaseType type, unsigned int size = 1)
        : layout({{ToString(type), type, size}}), sample(&layout.type, Poco::Timestamp(1)) {}
    TestType layout;
    Sample sample;
};

// Whether a number fits a type: then it comes back the same, else nothing changes.
template <class T>
void ExpectFit(T value, BaseType type, bool fits) {
    SCOPED_TRACE(std::to_string(value) + " as " + ToString(type));
    OneNumber one(type);
    if (fits) {
        SetNumber(one.sample, 0, 0, value);
        EXPECT_EQ(GetNumber<T>(one.sample, 0, 0), value);
        EXPECT_NE(one.sample.GetTimeStamp(), Poco::Timestamp(1));
    } else {
        const std::string before = BinaryOf(one.sample);
        EXPECT_THROW(SetNumber(one.sample, 0, 0, value), std::out_of_range);
        EXPECT_EQ(BinaryOf(one.sample), before);
        EXPECT_EQ(one.sample.GetTimeStamp(), Poco::Timestamp(1));
    }
}

// Whether a number fits each type: only those listed.
template <class T>
void ExpectFits(T value, const std::vector<BaseType>& types) {
    for (unsigned short type = Int8; type < String; ++type) {
        const auto found = std::find(types.begin(), types.end(), BaseType(type));
        ExpectFit(value, BaseType(type), found != types.end());
    }
}

TEST(SampleNumber, IsStoredAsTheEntrysTypeWhereItFits) {
    for (const int bit : {0, 1}) {
        ExpectFits(bit,
                   {Int8, Int16, Int32, Int64, UInt8, UInt16, UInt32, UInt64, Float, Double, Bool});
    }
    ExpectFits(-1, {Int8, Int16, Int32, Int64, Float, Double});
    ExpectFits(127, {Int8, Int16, Int32, Int64, UInt8, UInt16, UInt32, UInt64, Float, Double});
    ExpectFits(128, {Int16, Int32, Int64, UInt8, UInt16, UInt32, UInt64, Float, Double});
    ExpectFits(256, {Int16, Int32, Int64, UInt16, UInt32, UInt64, Float, Double});
    ExpectFits(65536, {Int32, Int64, UInt32, UInt64, Float, Double});
    ExpectFits(16777217, {Int32, Int64, UInt32, UInt64, Double});
    ExpectFits(1LL << 32, {Int64, UInt64, Float, Double});
    ExpectFits((1LL << 53) + 1, {Int64, UInt64});
    ExpectFits(maxOf<std::int64_t>, {Int64, UInt64});
    ExpectFits(minOf<std::int64_t>, {Int64, Float, Double});
    ExpectFits(maxOf<std::uint64_t>, {UInt64});
    ExpectFits(1.5, {Float, Double});
    ExpectFits(two53, {Int64, UInt64, Float, Double});
    ExpectFits(two63, {UInt64, Float, Double});
    ExpectFits(-two63, {Int64, Float, Double});
    ExpectFits(two64, {Float, Double});
    ExpectFits(-0.5, {Float, Double});
    ExpectFits(INFINITY, {Float, Double});
    ExpectFits(1e300, {Double});
    OneNumber rounded(Float);
    SetNumber(rounded.sample, 0, 0, 0.1);
    EXPECT_EQ(rounded.sample.GetFloat(0, 0), 0.1F);
    SetNumber(rounded.sample, 0, 0, NAN);
    EXPECT_TRUE(std::isnan(GetNumber<double>(rounded.sample, 0, 0)));
    ExpectFit(true, Int64, true);
    ExpectFit(std::int8_t{-5}, Int8, true);
    ExpectFit('a', UInt16, true);
    ExpectFit(5UL, Int8, true);
}

TEST(SampleNumber, IsRefusedWithEntryValueAndType) {
    TestType layout{{"count", UInt8, 2}, {"level", Double, 1}, {"name", String, 3}};
    Sample sample(&layout.type, Poco::Timestamp(1));
    sample.Set(1, 0, 1e10);
    const auto refused = [](auto access) { return MessageOf<std::out_of_range>(access); };
    const std::pair<std::string, std::string> cases[] = {
        {refused([&] { SetNumber(sample, 0, 1, 300); }),
         "Value 300 of element 1 of entry 'count' does not fit UInt8."},
        {refused([&] { SetNumber(sample, 0, 1, NAN); }),
         "Value nan of element 1 of entry 'count' does not fit UInt8."},
        {refused([&] { GetNumber<int>(sample, 1, 0); }),
         "Value 1e+10 of element 0 of entry 'level' does not fit Int32."},
        {refused([&] { SetNumber(sample, 0, 2, 1); }),
         "Element 2 of entry 'count' does not exist: it has 2."},
        {refused([&] { GetNumbers(sample, 0, 1, std::vector<int>(2)); }),
         "Element 2 of entry 'count' does not exist: it has 2."},
        {refused([&] { GetNumber<int>(sample, 3, 0); }),
         "Entry 3 does not exist in stream type 'Root.Pos', which has 3."},
        {refused([&] { GetNumber<int>(Sample(), 0, 0); }),
         "Entry 0 does not exist: the sample has no stream type."}};
    for (const auto& [message, expected] : cases) {
        EXPECT_EQ(message, expected);
    }
    EXPECT_THROW(SetNumber(sample, 2, 0, 1), TypeMismatchException);
    EXPECT_THROW(GetNumber<char>(sample, 2, 0), TypeMismatchException);
}

TEST(SampleNumbers, AreCopiedAsAWhole) {
    OneNumber array(Int16, 5);
    SetNumbers(array.sample, 0, 1, std::vector<double>{1, -2, 3});
    EXPECT_EQ(BinaryOf(array.sample),
              BinaryForm({BytesOf<short>(0) + BytesOf<short>(1) + BytesOf<short>(-2) +
                          BytesOf<short>(3) + BytesOf<short>(0)}));
    std::array<long, 4> read{};
    GetNumbers(array.sample, 0, 1, read);
    EXPECT_EQ(read, (std::array<long, 4>{1, -2, 3, 0}));
    const short same[] = {7, 8};
    SetNumbers(array.sample, 0, 3, std::span<const short>(same));
    float last = 0;
    GetNumbers(array.sample, 0, 4, std::span<float>(&last, 1));
    EXPECT_EQ(last, 8);
    GetNumbers(array.sample, 0, 5, std::span<float>());

    const std::string before = BinaryOf(array.sample);
    EXPECT_THROW(SetNumbers(array.sample, 0, 0, std::vector<int>{1, 2, 40000}), std::out_of_range);
    EXPECT_THROW(SetNumbers(array.sample, 0, 3, std::vector<int>{1, 2, 3}), std::out_of_range);
    EXPECT_EQ(BinaryOf(array.sample), before);
    static_assert(!NumberRange<std::vector<bool>> && !NumberRange<std::vector<std::string>>);
}

}  // namespace
}  // namespace velmora::core::tessaryn
