// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/base_type.h"

#include "support/comma_locale.h"
#include "support/random.h"
#include "support/samples.h"
#include "support/thrown.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cfloat>
#include <climits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using test::BytesOf;
using test::MessageOf;

struct TypeRow {
    BaseType type;
    std::string name;
    std::size_t width;
    std::vector<std::string> spellings;
    std::vector<BaseType> accessors;
};

const std::vector<TypeRow> rows = {
    {Int8, "Int8", 1, {"int8", "sbyte", "char"}, {Int8, String}},
    {Int16, "Int16", 2, {"int16"}, {Int8, Int16}},
    {Int32, "Int32", 4, {"int32"}, {Int8, Int16, Int32}},
    {Int64, "Int64", 8, {"int64"}, {Int8, Int16, Int32, Int64}},
    {UInt8, "UInt8", 1, {"uint8", "byte", "uchar"}, {UInt8}},
    {UInt16, "UInt16", 2, {"uint16"}, {UInt8, UInt16}},
    {UInt32, "UInt32", 4, {"uint32"}, {UInt8, UInt16, UInt32}},
    {UInt64, "UInt64", 8, {"uint64"}, {UInt8, UInt16, UInt32, UInt64}},
    {Float, "Float", 4, {"float"}, {Float}},
    {Double, "Double", 8, {"double"}, {Float, Double}},
    {Bool, "Bool", 1, {"bool", "boolean"}, {Bool}},
    {String, "String", 1, {"string", "bytearray"}, {Int8, String}}};

template <class T>
concept HasBaseType = requires {
    GetBaseType<T>();
};

TEST(BaseType, HasFixedNumbersNamesWidthsAndNativeTypes) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(rows[i].name);
        EXPECT_EQ(rows[i].type, i + 1);
        EXPECT_EQ(ToString(rows[i].type), rows[i].name);
        EXPECT_EQ(SizeOf(rows[i].type), rows[i].width);
    }
    for (const int none : {0, 13, 14, 255, 65535}) {
        EXPECT_EQ(ToString(static_cast<BaseType>(none)), "UnknownType") << none;
        EXPECT_EQ(SizeOf(static_cast<BaseType>(none)), 0U) << none;
    }
    static_assert(GetBaseType<char>() == 1 && GetBaseType<short>() == 2 && GetBaseType<int>() == 3);
    static_assert(GetBaseType<long long>() == 4 && GetBaseType<unsigned char>() == 5);
    static_assert(GetBaseType<unsigned short>() == 6 && GetBaseType<unsigned int>() == 7);
    static_assert(GetBaseType<unsigned long long>() == 8 && GetBaseType<float>() == 9);
    static_assert(GetBaseType<double>() == 10 && GetBaseType<bool>() == 11);
    static_assert(GetBaseType<std::string>() == 12);
    static_assert(!HasBaseType<long> && !HasBaseType<signed char> && !HasBaseType<const char*>);
}

TEST(BaseType, IsFoundByEachSpellingInAnyCaseAndByNothingElse) {
    for (const TypeRow& row : rows) {
        for (const std::string& lower : row.spellings) {
            std::string upper = lower;
            std::transform(upper.begin(), upper.end(), upper.begin(),
                           [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
            std::string mixed = lower;
            mixed[1] = upper[1];
            for (const std::string& name : {lower, upper, mixed}) {
                EXPECT_EQ(GetTypeFromString(name), row.type) << name;
                for (const std::string& other :
                     {" " + name, name + " ", name + std::string(1, '\0'), name + "x"})
                    EXPECT_EQ(GetTypeFromString(other), UnknownType) << "'" << other << "'";
            }
        }
    }
    for (const char* name : {"", "UnknownType", "long", "uint", "bytearrays", "a much longer name"})
        EXPECT_EQ(GetTypeFromString(name), UnknownType) << name;
}

TEST(BaseType, AccessorsFitAsTabled) {
    for (const TypeRow& row : rows) {
        for (unsigned short requested = 0; requested <= 14; ++requested) {
            const bool fits = std::count(row.accessors.begin(), row.accessors.end(),
                                         static_cast<BaseType>(requested)) != 0;
            EXPECT_EQ(TypesAreCompatible(row.type, static_cast<BaseType>(requested)), fits)
                << row.name << " through " << requested;
        }
    }
    for (unsigned short any = 0; any <= 14; ++any) {
        const auto type = static_cast<BaseType>(any);
        EXPECT_FALSE(TypesAreCompatible(static_cast<BaseType>(13), type));
        EXPECT_EQ(MessageOf<std::runtime_error>([&] { TypesAreCompatible(UnknownType, type); }),
                  "unhandled type");
    }
}

constexpr std::size_t room = 16;

/// Memory around a destination at an odd address, before and after a text is stored there.
std::string StoredAround(BaseType type, const std::string& text) {
    std::string memory(room, '\xAA');
    SetFromString(type, text, memory.data() + 1);
    return memory;
}

std::string Around(const std::string& bytes) {
    std::string memory(room, '\xAA');
    return memory.replace(1, bytes.size(), bytes);
}

TEST(SetFromString, StoresAsTabled) {
    struct Row {
        BaseType type;
        const char* text;
        std::string bytes;
    };
    const Row table[] = {{UInt8, "300", "\x2C"},
                         {Int8, "300", "\x2C"},
                         {String, "65", "A"},
                         {Int8, "-1", "\xFF"},
                         {Int16, " 12abc", BytesOf<short>(12)},
                         {Int16, "40000", BytesOf<short>(SHRT_MAX)},
                         {Int16, "-40000", BytesOf<short>(SHRT_MIN)},
                         {Int32, "0x10", BytesOf(0)},
                         {Float, "1e", BytesOf(0.0F)},
                         {Double, "-2.5e-3rest", BytesOf(-2.5e-3)},
                         {Double, "1,5", BytesOf(1.0)},
                         {Double, "1e400", BytesOf(DBL_MAX)},
                         {Double, "inf", BytesOf(0.0)},
                         {Bool, "1", BytesOf(true)},
                         {Bool, "true", BytesOf(false)},
                         {static_cast<BaseType>(13), "5", ""}};
    for (const Row& row : table) {
        EXPECT_EQ(StoredAround(row.type, row.text), Around(row.bytes))
            << "'" << row.text << "' as " << ToString(row.type);
    }
    EXPECT_EQ(MessageOf<std::runtime_error>([] { StoredAround(UnknownType, "5"); }),
              "unknown type in ");
}

template <class Read, class Stored = Read>
std::string Extract(const std::string& text) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    Read value{};
    in >> value;
    return BytesOf(static_cast<Stored>(value));
}

TEST(SetFromString, AgreesWithAnInputStreamInAnyLocale) {
    struct Row {
        BaseType type;
        std::string (*extract)(const std::string&);
    };
    const Row table[] = {{Int8, Extract<int, char>},
                         {String, Extract<int, char>},
                         {UInt8, Extract<unsigned int, unsigned char>},
                         {Int16, Extract<short>},
                         {UInt16, Extract<unsigned short>},
                         {Int32, Extract<int>},
                         {UInt32, Extract<unsigned int>},
                         {Int64, Extract<long long>},
                         {UInt64, Extract<unsigned long long>},
                         {Float, Extract<float>},
                         {Double, Extract<double>},
                         {Bool, Extract<bool>}};
    const std::vector<std::string> pieces = {"0",
                                             "1",
                                             "7",
                                             "42",
                                             "127",
                                             "128",
                                             "255",
                                             "32767",
                                             "32768",
                                             "65535",
                                             "2147483648",
                                             "4294967295",
                                             "9223372036854775807",
                                             "99999999999",
                                             "-",
                                             "+",
                                             ".",
                                             "e",
                                             "E",
                                             "e5",
                                             "e-7",
                                             "e39",
                                             "e-320",
                                             " ",
                                             "\t",
                                             "x",
                                             "0x1",
                                             "inf",
                                             "nan",
                                             ",",
                                             "1e",
                                             "true",
                                             "\xA0",
                                             std::string(1, '\0')};
    test::Random random;
    const test::CommaLocale comma;
    for (int i = 0; i < 20000; ++i) {
        std::string text;
        for (unsigned count = random.Below(6); count != 0; --count)
            text += pieces[random.Below(static_cast<unsigned>(pieces.size()))];
        for (const Row& row : table) {
            ASSERT_EQ(StoredAround(row.type, text), Around(row.extract(text)))
                << "'" << text << "' as " << ToString(row.type);
        }
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
