// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/serializer.h"

#include "support/comma_locale.h"
#include "support/node_builder.h"
#include "support/thrown.h"

#include <Poco/Logger.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <string>
#include <utility>

namespace velmora::core::serialization {

namespace {

using std::string_literals::operator""s;
using namespace test;
const NodeSerializer serializer;

// "=" and the value written again, or the message that refuses the text.
template <class T>
std::string ReadText(const std::string& text) {
    const BuiltTree tree({Value("n", text)});
    SerializationResult result;
    const std::string message = MessageOf<SerializationException>([&] {
        const T value = serializer.DeserializePrivate<T>(tree.Root()["n"], result);
        tree.Root()["n"].SetValue("");
        serializer.SerializePrivate(tree.Root()["n"], value, result);
    });
    return message == "nothing was thrown" ? "=" + tree.Root()["n"].GetValue() : message;
}

template <class T>
void ExpectInteger(const std::string& name) {
    const std::string smallest = std::to_string(std::numeric_limits<T>::min());
    const std::string largest = std::to_string(std::numeric_limits<T>::max());
    EXPECT_EQ(ReadText<T>(smallest) + ReadText<T>(largest), "=" + smallest + "=" + largest);
    std::string over = largest;
    ++over.back();
    std::string under = smallest == "0" ? "-0" : smallest;
    ++under.back();
    for (const std::string& text :
         {over, under, largest + "0", ""s, "1 "s, " 1"s, "+1"s, "1.0"s, "1e2"s, "0x1"s}) {
        EXPECT_EQ(ReadText<T>(text), "'" + text + "' is not " + name + ".");
    }
}

TEST(StrictRead, AcceptsIntegersWithinTheRangeOfTheirType) {
    ExpectInteger<short>("a 16-bit signed integer");
    ExpectInteger<unsigned short>("a 16-bit unsigned integer");
    ExpectInteger<int>("a 32-bit signed integer");
    ExpectInteger<unsigned int>("a 32-bit unsigned integer");
    ExpectInteger<long>("a 64-bit signed integer");
    ExpectInteger<unsigned long>("a 64-bit unsigned integer");
}

TEST(StrictRead, AcceptsFloatingPointNumbersExactlyInAnyLocale) {
    const CommaLocale locale;
    for (const std::string text : {"0.1", "-0", "1e+300", "5e-324", "inf", "nan", "12345678.9"}) {
        EXPECT_EQ(ReadText<double>(text), "=" + text);
    }
    EXPECT_EQ(ReadText<float>("0.1"), "=0.1");
    for (const std::string text : {"", " 1", "1 ", "1,5", "1.5x", "+1", "0x1p3", "1e999"}) {
        EXPECT_EQ(ReadText<double>(text), "'" + text + "' is not a 64-bit floating-point number.");
    }
    EXPECT_EQ(ReadText<float>("1e39"), "'1e39' is not a 32-bit floating-point number.");
    EXPECT_EQ(GreaterThan(1234567).GetDescription(), "Is greater than 1234567");
}

TEST(StrictRead, AcceptsCompleteTextsOfOtherTypesAndQuotesOthers) {
    EXPECT_EQ(ReadText<char>("\xff") + ReadText<char>("\0"s), "=\xff=\0"s);
    EXPECT_EQ(ReadText<bool>("true") + ReadText<bool>("false"), "=true=false");
    EXPECT_EQ(ReadText<std::string>("") + ReadText<std::string>(" 1 "), "== 1 ");
    EXPECT_EQ(ReadText<char>("ab"), "'ab' is not a single character.");
    EXPECT_EQ(ReadText<bool>("1"), "'1' is not 'true' or 'false'.");
    EXPECT_EQ(ReadText<utils::Version>("1.2"), "'1.2' is not a version such as '1.0.0'.");
    const std::string a60(60, 'a');
    const std::string end = "' is not a 32-bit signed integer.";
    EXPECT_EQ(ReadText<int>("1\0"s), "'1\\x00" + end);
    EXPECT_EQ(ReadText<int>(a60 + "1234"), "'" + a60 + "1234" + end);
    EXPECT_EQ(ReadText<int>(a60 + "123\xc3\xa4zz"), "'" + a60 + "123..." + end);
}

// Reads an int from five nodes: one that holds 5, one that holds -5, one that holds no integer, one
// without a value and an absent one. Returns the values, "throws" for an exception and "default"
// for the default value.
template <class Rule>
std::pair<std::string, std::string> ReadAll(const Rule& rule) {
    const BuiltTree tree(
        {Value("five", "5"), Value("minus five", "-5"), Value("text", "5%s"), List("bare", {})});
    const std::pair<std::string, std::string> nodes[] = {
        {"five", ""},
        {"minus five", ""},
        {"text", " Reason: '5%s' is not a 32-bit signed integer."},
        {"bare", " Reason: The node has no value."},
        {"absent", ""}};
    std::string withHandler;
    std::string withDefault;
    for (const auto& [name, reason] : nodes) {
        int value = 77;
        try {
            serializer.Deserialize(tree.Root()[name], value, rule,
                                   Throw(false, Poco::Logger::root()));
            withHandler += std::to_string(value) + " ";
        } catch (const SerializationException& exception) {
            EXPECT_EQ(exception.what(), "Value at position '/" + name + "' broke rule '" +
                                            rule.GetDescription() + "'." + reason);
            EXPECT_EQ(value, 77);
            withHandler += "throws ";
        }
        serializer.Deserialize(tree.Root()[name], value, rule, 99);
        withDefault += (value == 99 ? "default" : std::to_string(value)) + " ";
    }
    return {withHandler, withDefault};
}

TEST(ReadUnderRule, ThrowsOrTakesTheDefaultWhereTheRuleIsBroken) {
    const struct {
        std::string rule;
        std::pair<std::string, std::string> actual;
        std::string withHandler;
        std::string withDefault;
    } cases[] = {
        {"mandatory", ReadAll(Mandatory()), "5 -5 throws throws throws ",
         "5 -5 default default default "},
        {"optional", ReadAll(Optional()), "5 -5 0 0 0 ", "5 -5 default default default "},
        {"exists", ReadAll(Exist()), "5 -5 0 0 throws ", "5 -5 default default default "},
        {"greater than -6", ReadAll(GreaterThan(-6)), "5 -5 throws throws throws ",
         "5 -5 default default default "},
        {"greater than 4U", ReadAll(GreaterThan(4U)), "5 throws throws throws throws ",
         "5 default default default default "},
        {"greater than 5", ReadAll(GreaterThan(5)), "throws throws throws throws throws ",
         "default default default default default "},
    };
    for (const auto& test : cases) {
        EXPECT_EQ(test.actual.first, test.withHandler) << test.rule;
        EXPECT_EQ(test.actual.second, test.withDefault) << test.rule;
    }
}

TEST(Rules, DescribeThemselves) {
    EXPECT_EQ(Mandatory().GetDescription(), "Is mandatory");
    EXPECT_EQ(Optional().GetDescription(), "Is optional");
    EXPECT_EQ(Exist().GetDescription(), "Exists");
    EXPECT_EQ(GreaterThan(-6).GetDescription(), "Is greater than -6");
}

TEST(WriteUnderRule, ReportsABrokenRuleAndThrowsNothing) {
    const BuiltTree tree({List("n", {})});
    std::optional<BrokenRule> broken;
    serializer.Serialize(tree.Root()["n"], 5L, GreaterThan(5), broken);
    EXPECT_EQ(tree.Root()["n"].GetValue(), "5");
    EXPECT_EQ(broken.value().position + broken->description + broken->reason,
              "/nIs greater than 5");
    serializer.Serialize(tree.Root()["n"], 'x', Mandatory(), broken);
    EXPECT_FALSE(broken.has_value());
    serializer.Serialize(tree.Root()["absent"], 5, Mandatory(), broken);
    EXPECT_TRUE(broken.has_value() && !tree.Root()["absent"].Exists());
}

}  // namespace
}  // namespace velmora::core::serialization
