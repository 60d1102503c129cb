// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/serializer.h"

#include "support/comma_locale.h"
#include "support/node_builder.h"
#include "support/thrown.h"

#include <Poco/AutoPtr.h>
#include <Poco/FormattingChannel.h>
#include <Poco/Logger.h>
#include <Poco/PatternFormatter.h>
#include <Poco/StreamChannel.h>
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

namespace velmora::core::serialization {

namespace {

using std::string_literals::operator""s;
using namespace test;
const NodeSerializer serializer;

TEST(NodeTree, KeepsOrderFlagsValuesAndSameNamedSiblings) {
    const NodeTree tree;
    NodeRef root = tree.GetRoot();
    root.AddNode("b", NodeList);
    root.AddNode("a", NodeName).SetValue("");
    root.AddNode("b", static_cast<NodeFlags>(4711)).SetValue("\0\xff\n"s);
    EXPECT_EQ(Sorted(root), "/1(b/17 a/10= b/4711=\0\xff\n)"s);
    EXPECT_EQ(root["b"].GetFlags(), NodeList) << "the first of that name";
}

TEST(NodePosition, NumbersSiblingsOnlyWhereTheyShareAName) {
    const NodeTree tree;
    NodeRef streams = tree.GetRoot().AddNode("Group", NodeElement).AddNode("a\nb", NodeList);
    const NodeRef first = streams.AddNode("Stream", NodeElement);
    streams.AddNode("Other", NodeElement);
    EXPECT_EQ(first.GetPosition(), "/Group/a\\nb/Stream");
    const NodeRef second = streams.AddNode("Stream", NodeElement);
    EXPECT_EQ(first.GetPosition(), "/Group/a\\nb/Stream[1]");
    EXPECT_EQ(second["Absent"]["Name"].GetPosition(), "/Group/a\\nb/Stream[2]/Absent/Name");
}

TEST(NodeTree, IsAsDeepAsMemoryAllows) {
    constexpr int levels = 100000;
    const NodeTree tree;
    NodeRef node = tree.GetRoot();
    for (int i = 0; i < levels; ++i) {
        node = node.AddNode("n", NodeElement);
    }
    EXPECT_EQ(node.GetPosition().size(), 2U * levels);
}

TEST(AbsentNode, AnswersAbsentChildrenAndRefusesToBeWritten) {
    const NodeTree tree;
    NodeRef absent = tree.GetRoot().AddNode("Group", NodeElement)["Streams"]["Stream"];
    EXPECT_FALSE(absent.Exists() || absent["Name"].Exists() || absent.HasValue());
    EXPECT_EQ(
        MessageOf<SerializationException>([&] { absent.AddNode("Name", NodeValue); }),
        "Node '/Group/Streams/Stream' does not exist, so node 'Name' can not be added to it.");
    EXPECT_EQ(MessageOf<SerializationException>([&] { absent.SetValue("x"); }),
              "Node '/Group/Streams/Stream' does not exist, so it can not hold a value.");
}

TEST(NodeTree, KeepsHandlesValidWhenMoved) {
    NodeTree first;
    NodeRef node = first.GetRoot().AddNode("n", NodeValue);
    NodeTree third;
    third = NodeTree(std::move(first));
    node.AddNode("child", NodeValue);
    EXPECT_EQ(third.GetRoot()["n"]["child"].GetPosition(), "/n/child");
}

// "=" and the value written anew, or why the text is no value.
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

TEST(StrictRead, TakesIntegersOfFittingSizeOnly) {
    ExpectInteger<short>("a 16-bit signed integer");
    ExpectInteger<unsigned short>("a 16-bit unsigned integer");
    ExpectInteger<int>("a 32-bit signed integer");
    ExpectInteger<unsigned int>("a 32-bit unsigned integer");
    ExpectInteger<long>("a 64-bit signed integer");
    ExpectInteger<unsigned long>("a 64-bit unsigned integer");
}

TEST(StrictRead, TakesFloatingPointNumbersExactlyInAnyLocale) {
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

TEST(StrictRead, TakesWholeTextsOfOtherTypesAndQuotesWhatItRefuses) {
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

// What values in every state read as under a rule that throws ("!" where it does) and, after a
// stroke, with a default of 9.
template <class Rule>
std::string ReadStates(const Rule& rule) {
    const BuiltTree tree(
        {Value("good", "5"), Value("minus", "-5"), Value("bad", "5%s"), List("bare", {})});
    const std::pair<std::string, std::string> states[] = {
        {"good", ""},
        {"minus", ""},
        {"bad", " Reason: '5%s' is not a 32-bit signed integer."},
        {"bare", " Reason: The node holds no value."},
        {"none", ""}};
    std::string text;
    for (const auto& [name, reason] : states) {
        int value = 77;
        const std::string message = MessageOf<SerializationException>([&] {
            serializer.Deserialize(tree.Root()[name], value, rule,
                                   Throw(false, Poco::Logger::root()));
        });
        const bool passed = message == "nothing was thrown";
        EXPECT_TRUE(passed || message == "Value at position '/" + name + "' broke rule '" +
                                             rule.GetDescription() + "'." + reason)
            << message;
        text += passed ? std::to_string(value) : value == 77 ? "!" : "not left alone";
        serializer.Deserialize(tree.Root()[name], value, rule, 9);
        text += "/" + std::to_string(value) + " ";
    }
    return rule.GetDescription() + ": " + text;
}

TEST(ReadUnderRule, PassesThrowsOrTakesTheDefaultByStateOfTheValue) {
    EXPECT_EQ(ReadStates(Mandatory()), "Is mandatory: 5/5 -5/-5 !/9 !/9 !/9 ");
    EXPECT_EQ(ReadStates(Optional()), "Is optional: 5/5 -5/-5 0/9 0/9 0/9 ");
    EXPECT_EQ(ReadStates(Exist()), "Exists: 5/5 -5/-5 0/9 0/9 !/9 ");
    EXPECT_EQ(ReadStates(GreaterThan(-6)), "Is greater than -6: 5/5 -5/-5 !/9 !/9 !/9 ");
    EXPECT_EQ(ReadStates(GreaterThan(4U)), "Is greater than 4: 5/5 !/9 !/9 !/9 !/9 ");
    EXPECT_EQ(ReadStates(GreaterThan(5)), "Is greater than 5: !/9 !/9 !/9 !/9 !/9 ");
}

TEST(WriteUnderRule, RecordsABrokenRuleAndThrowsNothing) {
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

TEST(ThrowErrorHandler, LogsTheTextAsItStandsWhereFlagAndLevelAdmitIt) {
    std::ostringstream told;
    Poco::AutoPtr<Poco::Channel> channel(new Poco::FormattingChannel(
        new Poco::PatternFormatter("%s:%U:%u:%t"), new Poco::StreamChannel(told)));
    Poco::Logger& logger = Poco::Logger::create("host", channel, Poco::Message::PRIO_WARNING);
    const NodeTree tree;
    const auto test = [&](bool log) {
        serializer.Test(tree.GetRoot()["%s"]["b"], Exist(), Throw(log, logger));
    };
    EXPECT_THROW(test(false), SerializationException);
    EXPECT_EQ(told.str(), "");
    const std::string text = MessageOf<SerializationException>([&] { test(true); });
    EXPECT_EQ(text, "Value at position '/%s/b' broke rule 'Exists'.");
    logger.setLevel(Poco::Message::PRIO_ERROR);
    EXPECT_THROW(test(true), SerializationException);
    EXPECT_EQ(told.str(), "host:src/libs/serializer/error_handlers:89:" + text + "\n");
    Poco::Logger::destroy("host");
}

}  // namespace
}  // namespace velmora::core::serialization
