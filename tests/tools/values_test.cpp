// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "values.h"

#include <gtest/gtest.h>

#include <string>

namespace velmora::tool {
namespace {

using namespace core::tessaryn;

TEST(Values, AreReadStrictly) {
    const struct {
        BaseType type;
        const char* text;
        /// Bytes appended, or why there are none.
        std::string expected;
    } cases[] = {
        {Int8, "-128", "\x80"},
        {Int8, "+7", "\x07"},
        {Int8, "128", "does not fit Int8"},
        {UInt8, "255", "\xff"},
        {UInt8, "256", "does not fit UInt8"},
        {UInt8, "-1", "does not fit UInt8"},
        {UInt8, "-x", "is no whole number"},
        {Int16, "-2", "\xfe\xff"},
        {UInt16, "65536", "does not fit UInt16"},
        {Int32, "2147483648", "does not fit Int32"},
        {UInt32, "4294967295", "\xff\xff\xff\xff"},
        {Int64, "-9223372036854775808", std::string("\0\0\0\0\0\0\0\x80", 8)},
        {Int64, "9223372036854775808", "does not fit Int64"},
        {UInt64, "18446744073709551615", "\xff\xff\xff\xff\xff\xff\xff\xff"},
        {UInt64, "18446744073709551616", "does not fit UInt64"},
        {Int64, "1.0", "is no whole number"},
        {Int64, "12abc", "is no whole number"},
        {Int64, "1,2", "is no whole number"},
        {Int64, " 1", "is no whole number"},
        {Int64, "+-1", "is no whole number"},
        {Int64, "0x10", "is no whole number"},
        {Int64, "", "is no whole number"},
        {Float, "0.5", std::string("\0\0\0\x3f", 4)},
        {Float, "1e39", "does not fit Float"},
        {Double, "-2", std::string("\0\0\0\0\0\0\0\xc0", 8)},
        {Double, "1e309", "does not fit Double"},
        {Double, "1.5.2", "is no number"},
        {Double, "", "is no number"},
        {Bool, "True", "\x01"},
        {Bool, "0", std::string(1, '\0')},
        {Bool, "2", "is no truth value (0, 1, true or false)"},
        {String, "a b", "a b"},
        {String, "", ""},
    };
    for (const auto& each : cases) {
        std::string bytes = "x";
        if (AppendElement(each.type, each.text, bytes)) {
            EXPECT_EQ(bytes, "x" + each.expected) << ToString(each.type) << ' ' << each.text;
        } else {
            EXPECT_EQ(bytes, "x");
            EXPECT_EQ(ReasonAgainst(each.type, each.text), each.expected)
                << ToString(each.type) << ' ' << each.text;
        }
    }
}

TEST(Values, SuggestTheirType) {
    for (const char* text : {"0", "-12", "+5", "007"})
        EXPECT_EQ(LooksLike(text), Int64) << text;
    for (const char* text : {"1.", ".5", "1e5", "-0.1", "nan", "inf", "9223372036854775808"})
        EXPECT_EQ(LooksLike(text), Double) << text;
    for (const char* text : {"", "a", "1a", "1 2", "-", "2020-01-01"})
        EXPECT_EQ(LooksLike(text), String) << text;
}

}  // namespace
}  // namespace velmora::tool
