// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/adapter.h"

#include "support/samples.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace velmora::exchange {
namespace {

using namespace core::tessaryn;
using test::TestType;

TEST(Adapter, CopiesAnEntryExactlyWhereNoValueCanChange) {
    // Columns as rows: Int8 … Int64, UInt8 … UInt64, Float, Double, Bool, String.
    const std::string_view fits[] = {
        "yyyy....yy..", ".yyy....yy..", "..yy.....y..", "...y........",
        ".yyyyyyyyy..", "..yy.yyyyy..", "...y..yy.y..", ".......y....",
        "........yy..", ".........y..", "..........y.", "...........y",
    };
    for (unsigned short from = Int8; from <= String; ++from) {
        for (unsigned short to = Int8; to <= String; ++to) {
            TestType source({{"x", static_cast<BaseType>(from), 1}});
            TestType target({{"x", static_cast<BaseType>(to), 1}}, "Pos", {2, 0, 0});
            const Adapter adapter(source.type, target.type);
            EXPECT_EQ(adapter.GetLosses().empty(), fits[from - 1][to - 1] == 'y')
                << ToString(static_cast<BaseType>(from)) << " to "
                << ToString(static_cast<BaseType>(to));
        }
    }
}

TEST(Adapter, KeepsValuesTimesAndSizesAndNamesEachLossOnce) {
    TestType source({{"code", Int16, 2},
                     {"speed", Float, 1},
                     {"note", String, 0},
                     {"old", Bool, 1},
                     {"wide", UInt64, 1}});
    TestType target({{"note", String, 5},
                     {"speed", Double, 3},
                     {"code", Int64, 1},
                     {"wide", Int64, 1},
                     {"added", Double, 2}},
                    "Pos", {1, 1, 0});
    const Adapter adapter(source.type, target.type);
    EXPECT_THAT(adapter.GetLosses(),
                testing::ElementsAre("Entry 'old' (Bool) does not exist in version 1.1.0.",
                                     "Entry 'wide' (UInt64) does not always fit Int64 of version "
                                     "1.1.0."));
    Sample sample(&source.type, Poco::Timestamp(0));
    sample.Set(0, 0, std::numeric_limits<short>::min());
    sample.Set(0, 1, std::numeric_limits<short>::max());
    sample.Set(1, 0, std::numeric_limits<float>::quiet_NaN());
    sample.Set(2, std::string("a\0b", 3));
    const Sample adapted = adapter.Adapt(Restamped(sample, Poco::Timestamp(-5)));
    EXPECT_EQ(adapted.GetTimeStamp(), Poco::Timestamp(-5));
    EXPECT_EQ(adapted.GetStreamType(), &target.type);
    EXPECT_EQ(adapted.GetString(0), std::string("a\0b", 3));
    EXPECT_EQ(adapted.GetSize(1), 1U);
    EXPECT_TRUE(std::isnan(adapted.GetDouble(1, 0)));
    EXPECT_EQ(adapted.GetInt64(2, 0), -32768);
    EXPECT_EQ(adapted.GetInt64(2, 1), 32767);
    EXPECT_EQ(adapted.GetSize(3), 0U);
    EXPECT_EQ(adapted.GetSize(4), 0U);
    EXPECT_THROW(adapter.Adapt(adapted), std::invalid_argument);
}

}  // namespace
}  // namespace velmora::exchange
