// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/type_description.h"

#include "exchange/exchange_exception.h"
#include "exchange/layout_registry.h"
#include "exchange/little_endian.h"
#include "support/samples.h"
#include "support/thrown.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace velmora::exchange {
namespace {

using core::tessaryn::Int32;
using core::tessaryn::Int8;
using core::tessaryn::SampleEntry;
using core::tessaryn::UInt8;
using test::TestType;

TEST(TypeDescription, GivesTheTypeBack) {
    const TestType tank({{"level", core::tessaryn::Double, 3}, {"note", core::tessaryn::String, 0}},
                        "Tank", {1, 2, 300});
    const std::unique_ptr<DescribedType> read = ReadDescription(DescribeType(tank.type));
    const core::tessaryn::StreamType& type = read->GetType();
    EXPECT_TRUE(type.HasSameLayout(tank.type));
    EXPECT_EQ(type.GetHash(), tank.type.GetHash());
    EXPECT_EQ(type.GetVersion(), tank.type.GetVersion());
    EXPECT_EQ(type.GetName(), "Tank");
    EXPECT_EQ(type.GetFullName(), "Root.Tank");
    EXPECT_EQ(type.GetEntry(0).initialSize, 3U);
    EXPECT_EQ(type.GetEntry(1).initialSize, 0U);
}

TEST(TypeDescription, IsIdentifiedByNamesVersionAndValueTypes) {
    const Fingerprint own = FingerprintOf(TestType({{"a", Int8, 1}, {"b", Int32, 1}}, "Tank").type);
    EXPECT_EQ(FingerprintOf(TestType({{"a", Int8, 9}, {"b", Int32, 0}}, "Tank").type), own)
        << "initial sizes do not matter";
    const Fingerprint others[] = {
        FingerprintOf(TestType({{"a", UInt8, 1}, {"b", Int32, 1}}, "Tank").type),
        FingerprintOf(TestType({{"b", Int32, 1}, {"a", Int8, 1}}, "Tank").type),
        FingerprintOf(TestType({{"a", Int8, 1}}, "Tank").type),
        FingerprintOf(TestType({{"a", Int8, 1}, {"c", Int32, 1}}, "Tank").type),
        FingerprintOf(TestType({{"a", Int8, 1}, {"b", Int32, 1}}, "Tanl").type),
        FingerprintOf(TestType({{"a", Int8, 1}, {"b", Int32, 1}}, "Tank", {1, 0, 1}).type),
    };
    EXPECT_THAT(others, testing::Each(testing::Ne(own)));
}

TEST(TypeDescription, IsRefusedWithTheByteAndTheReason) {
    const TestType tank({{"a", Int8, 1}, {"b", Int32, 1}}, "Tank");
    // Full name "Root.Tank" at 12, entries at 21 and 30, the name's length at 39, sizes at 43.
    const std::string description = DescribeType(tank.type);
    ASSERT_EQ(description.size(), 51U);
    struct Row {
        std::function<void(std::string&)> damage;
        const char* message;
    };
    const auto number = [](std::size_t position, std::uint32_t value) {
        return [=](std::string& text) { bytes::Store(text.data() + position, value); };
    };
    const Row rows[] = {
        {[](std::string& text) { text.clear(); },
         "Byte 0 of a type's description: the length of the full name of 4 bytes, but 0 are left."},
        {number(0, 40),
         "Byte 12 of a type's description: the full name of 40 bytes, but 39 are "
         "left."},
        {number(8, 0x10000000),
         "Byte 21 of a type's description: 268435456 entries, but 30 bytes "
         "are left."},
        {number(25, 13), "Byte 29 of a type's description: there is no value type 13."},
        {number(25, 0), "Byte 29 of a type's description: there is no value type 0."},
        {number(21, 0xFFFFFFFF),
         "Byte 29 of a type's description: a key of 4294967295 bytes, but "
         "22 are left."},
        {[](std::string& text) { text[38] = 'a'; }, "Byte 51 of a type's description: "},
        {number(39, 10), "Byte 43 of a type's description: the name is longer than the full name."},
        {number(43, 2000000),
         "Byte 47 of a type's description: a sample takes 2000000 bytes, more "
         "than the limit of 1048576."},
        {[](std::string& text) { text += '\0'; },
         "Byte 51 of a type's description: it ends here, but 1 bytes follow."},
        {[](std::string& text) { text.resize(1 + (1U << 20U)); },
         "Byte 0 of a type's description: 1048577 bytes are more than the limit of 1048576."},
    };
    for (const Row& row : rows) {
        std::string damaged = description;
        row.damage(damaged);
        EXPECT_THAT(test::MessageOf<ExchangeException>([&] { ReadDescription(damaged); }),
                    testing::StartsWith(row.message));
    }
}

TEST(LayoutRegistry, LearnsOnlyValidDescriptionsUpToItsLimit) {
    const TestType first({{"a", Int8, 1}}, "First");
    const TestType second({{"a", Int8, 1}}, "Second");
    TestType own({{"a", Int8, 4}}, "Own");
    LayoutRegistry layouts({}, 1);
    EXPECT_THAT(test::MessageOf<ExchangeException>(
                    [&] { layouts.Learn(FingerprintOf(second.type), DescribeType(first.type)); }),
                testing::StartsWith("The description of type 'Root.First' does not have the "));
    EXPECT_EQ(layouts.Find(FingerprintOf(first.type)), nullptr);
    core::tessaryn::StreamType& learnt =
        layouts.Learn(FingerprintOf(first.type), DescribeType(first.type));
    EXPECT_EQ(layouts.Find(FingerprintOf(first.type)), &learnt);
    EXPECT_EQ(&layouts.Learn(FingerprintOf(first.type), "repeated"), &learnt);
    EXPECT_EQ(test::MessageOf<ExchangeException>(
                  [&] { layouts.Learn(FingerprintOf(second.type), DescribeType(second.type)); }),
              "There are descriptions of 1 types already, which is the limit.");
    layouts.Add(own.type);
    EXPECT_EQ(&layouts.Learn(FingerprintOf(own.type), DescribeType(own.type)), &own.type);
}

}  // namespace
}  // namespace velmora::exchange
