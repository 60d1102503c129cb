// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/value_parser.h"

#include "support/random.h"
#include "text/time_text.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

namespace velmora::tool {
namespace {

using namespace core::tessaryn;

TEST(ValueParser, RefusesWhatIsNotExactlyAValue) {
    const struct {
        BaseType type;
        const char* text;
        std::string bytes;
    } values[] = {
        {Int8, "-128", "\x80"},
        {Int8, "+7", "\x07"},
        {Int16, "-2", "\xfe\xff"},
        {UInt32, "4294967295", "\xff\xff\xff\xff"},
        {Int64, "-9223372036854775808", std::string("\0\0\0\0\0\0\0\x80", 8)},
        {UInt64, "18446744073709551615", "\xff\xff\xff\xff\xff\xff\xff\xff"},
        {Float, "0.5", std::string("\0\0\0\x3f", 4)},
        {Double, "-2", std::string("\0\0\0\0\0\0\0\xc0", 8)},
        {Bool, "True", "\x01"},
        {String, "a b", "a b"},
    };
    for (const auto& each : values) {
        std::string bytes = "x";
        EXPECT_TRUE(AppendElement(each.type, each.text, bytes)) << each.text;
        EXPECT_EQ(bytes, "x" + each.bytes) << each.text;
    }
    const auto expectRefused = [](BaseType type, const std::string& text,
                                  const std::string& reason) {
        std::string bytes;
        EXPECT_FALSE(AppendElement(type, text, bytes)) << text;
        EXPECT_EQ(bytes, "") << text;
        EXPECT_EQ(DescribeParseError(type, text), reason) << text;
    };
    for (const char* text : {"1.0", "12abc", "1,2", " 1", "+-1", "0x10", "-x", ""}) {
        expectRefused(Int64, text, "is not an integer");
    }
    for (const char* text : {"1.5.2", "1,5", ""}) {
        expectRefused(Double, text, "is not a number");
    }
    expectRefused(Bool, "2", "is not a Bool (0, 1, true or false)");
    for (const char* text :
         {"Int8 128", "UInt8 -1", "UInt16 65536", "Int32 2147483648", "Int64 9223372036854775808",
          "UInt64 18446744073709551616", "Float 1e39", "Double 1e309"}) {
        const std::string type(text, std::strchr(text, ' '));
        expectRefused(GetTypeFromString(type), text + type.size() + 1,
                      "is out of range for " + type);
    }
}

// Whether `ReadShortNumber` says of a text what `AppendElement` does, unless it says nothing.
template <class T>
void ExpectSameNumber(BaseType type, const std::string& text, int& read) {
    T value{};
    if (!ReadShortNumber(text, value)) {
        return;
    }
    ++read;
    std::string bytes;
    EXPECT_TRUE(AppendElement(type, text, bytes)) << text;
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(&value), sizeof value), bytes) << text;
}

TEST(ValueParser, ReadsShortNumbersAsAllOthers) {
    test::Random random;
    int integers = 0;
    int decimals = 0;
    for (int i = 0; i < 20'000; ++i) {
        std::string text;
        for (unsigned length = random.Below(18); length > 0; --length) {
            text += "0123456789012345678901234567890123456789.-+e/:\xb0\xff"[random.Below(48)];
        }
        ExpectSameNumber<std::int64_t>(Int64, text, integers);
        ExpectSameNumber<double>(Double, text, decimals);
        ExpectSameNumber<double>(Double, "-" + text, decimals);
    }
    EXPECT_GT(integers, 1000);
    EXPECT_GT(decimals, 1000);
    for (const char* text :
         {"", "-", ".", "..", ".5", ".1234567", "1e3", "1.2.3", "1..2", "--1", "1-", "1/", "/1",
          ":1", "1:", "123456:7", "12\xb0", "1234567890123456"}) {
        double value = 0;
        EXPECT_FALSE(ReadShortNumber(text, value)) << text;
    }
}

}  // namespace
}  // namespace velmora::tool
