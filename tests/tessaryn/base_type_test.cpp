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
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using test::BytesOf;
using test::MessageOf;

// The bytes of what an input stream reads of a text.
template <class Read, class Stored = Read>
std::string Extract(const std::string& text) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    Read value{};
    in >> value;
    return BytesOf(static_cast<Stored>(value));
}

struct TypeRow {
    BaseType type;
    std::string name;
    std::string (*extract)(const std::string&);
    std::vector<std::string> spellings;
    std::vector<BaseType> accessors;
};

const std::vector<TypeRow> rows = {
    {Int8, "Int8", Extract<int, char>, {"int8", "sbyte", "char"}, {Int8, String}},
    {Int16, "Int16", Extract<short>, {"int16"}, {Int8, Int16}},
    {Int32, "Int32", Extract<int>, {"int32"}, {Int8, Int16, Int32}},
    {Int64, "Int64", Extract<long long>, {"int64"}, {Int8, Int16, Int32, Int64}},
    {UInt8, "UInt8", Extract<unsigned, unsigned char>, {"uint8", "byte", "uchar"}, {UInt8}},
    {UInt16, "UInt16", Extract<unsigned short>, {"uint16"}, {UInt8, UInt16}},
    {UInt32, "UInt32", Extract<unsigned>, {"uint32"}, {UInt8, UInt16, UInt32}},
    {UInt64, "UInt64", Extract<unsigned long long>, {"uint64"}, {UInt8, UInt16, UInt32, UInt64}},
    {Float, "Float", Extract<float>, {"float"}, {Float}},
    {Double, "Double", Extract<double>, {"double"}, {Float, Double}},
    {Bool, "Bool", Extract<bool>, {"bool", "boolean"}, {Bool}},
    {String, "String", Extract<int, char>, {"string", "bytearray"}, {Int8, String}}};

TEST(BaseType, HasTheTabledNumbersNamesWidthsAndAccessors) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(rows[i].type, i + 1);
        EXPECT_EQ(ToString(rows[i].type), rows[i].name);
        EXPECT_EQ(SizeOf(rows[i].type), rows[i].extract("").size()) << rows[i].name;
        for (unsigned short requested = 0; requested <= 14; ++requested) {
            const bool fits = std::count(rows[i].accessors.begin(), rows[i].accessors.end(),
                                         static_cast<BaseType>(requested)) != 0;
            EXPECT_EQ(TypesAreCompatible(rows[i].type, static_cast<BaseType>(requested)), fits)
                << rows[i].name << " through " << requested;
        }
    }
    for (const int none : {0, 13, 65535}) {
        EXPECT_EQ(ToString(static_cast<BaseType>(none)), "UnknownType") << none;
        EXPECT_EQ(SizeOf(static_cast<BaseType>(none)), 0U) << none;
    }
    EXPECT_FALSE(TypesAreCompatible(static_cast<BaseType>(13), Int8));
    EXPECT_EQ(MessageOf<std::runtime_error>([] { TypesAreCompatible(UnknownType, Int8); }),
              "unhandled type");
}

TEST(BaseType, IsFoundByEachSpellingInAnyCaseAndByNothingElse) {
    for (const TypeRow& row : rows) {
        for (const std::string& spelling : row.spellings) {
            std::string mixed = spelling;
            mixed[1] = static_cast<char>(std::toupper(mixed[1]));
            EXPECT_EQ(GetTypeFromString(spelling), row.type) << spelling;
            EXPECT_EQ(GetTypeFromString(mixed), row.type) << mixed;
            for (const std::string& other : {" " + mixed, mixed + " ", mixed + '\0', mixed + "x"}) {
                EXPECT_EQ(GetTypeFromString(other), UnknownType) << "'" << other << "'";
            }
        }
    }
    for (const char* name : {"", "UnknownType", "long", "a much longer name"}) {
        EXPECT_EQ(GetTypeFromString(name), UnknownType) << name;
    }
}

std::string Around(const std::string& bytes) {
    std::string memory(16, '\xAA');
    return memory.replace(1, bytes.size(), bytes);
}

// Memory around a destination at an odd address after a text is stored there.
std::string StoredAround(BaseType type, const std::string& text) {
    std::string memory = Around("");
    SetFromString(type, text, memory.data() + 1);
    return memory;
}

TEST(SetFromString, AgreesWithAnInputStreamInAnyLocale) {
    const std::string alphabet("-+.eE \txX,infatrue\xA0\0", 20);
    test::Random random;
    const test::CommaLocale comma;
    for (int i = 0; i < 20000; ++i) {
        std::string text;
        for (unsigned count = random.Below(6); count != 0; --count) {
            if (random.Below(2) == 0) {
                text += alphabet[random.Below(static_cast<unsigned>(alphabet.size()))];
            } else {
                text += std::to_string((1ULL << random.Below(64)) - random.Below(2));
            }
        }
        if (text.find("nan") != std::string::npos || text.find("inf") != std::string::npos) {
            continue;
        }
        for (const TypeRow& row : rows) {
            ASSERT_EQ(StoredAround(row.type, text), Around(row.extract(text)))
                << "'" << text << "' as " << row.name;
        }
    }
    EXPECT_EQ(StoredAround(static_cast<BaseType>(13), "5"), Around(""));
    EXPECT_EQ(MessageOf<std::runtime_error>([] { StoredAround(UnknownType, "5"); }),
              "unknown type in ");
}

TEST(SetFromString, KeepsInfinitiesAndNaN) {
    const auto read = [](const std::string& text) {
        float single = 5;
        double value = 5;
        int integer = 5;
        SetFromString(Float, text, &single);
        SetFromString(Double, text, &value);
        SetFromString(Int32, text, &integer);
        std::ostringstream out;
        out << single << ' ' << value << ' ' << integer;
        return out.str();
    };
    const std::pair<const char*, const char*> rows[] = {
        {"nan", "nan nan 0"},    {" \t-nan", "-nan -nan 0"}, {"inf", "inf inf 0"},
        {"-inf", "-inf -inf 0"}, {"+inf", "0 0 0"},          {"NaN", "0 0 0"},
        {"nan ", "0 0 0"},       {"infinity", "0 0 0"},      {"na", "0 0 0"}};
    for (const auto& [text, expected] : rows) {
        EXPECT_EQ(read(text), expected) << text;
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
