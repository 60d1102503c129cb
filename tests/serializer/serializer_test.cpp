// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/serializer.h"

#include "serializer/node_tree.h"
#include "serializer/serializable.h"

#include <Poco/AutoPtr.h>
#include <Poco/Channel.h>
#include <Poco/Logger.h>
#include <Poco/Message.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <locale>
#include <string>
#include <vector>

namespace velmora::core::serialization {

/// A host's own type, which reads as itself, reports failure without a throw, or throws.
struct Odd {
    int number = -1;
};

template <>
template <>
Odd Serializer<NodeRef>::DeserializePrivate<Odd>(NodeRef node, SerializationResult& result) const {
    if (node.GetValue() == "foreign") {
        throw std::out_of_range("not the serializer's");
    }
    if (node.GetValue() == "doubtful") {
        result.status = SerializationResult::failed;
    }
    return {static_cast<int>(node.GetValue().size())};
}

template <>
template <>
void Serializer<NodeRef>::SerializePrivate<Odd>(NodeRef /*node*/, const Odd& /*value*/,
                                                SerializationResult& /*result*/) const {
    throw SerializationException("Odd things can't be written.");
}

namespace {

class RecordingChannel : public Poco::Channel {
  public:
    void log(const Poco::Message& message) override { messages.push_back(message); }

    std::vector<Poco::Message> messages;
};

/// A logger with a channel that keeps what it is told.
struct RecordingLogger {
    explicit RecordingLogger(int level = Poco::Message::PRIO_WARNING)
        : channel(new RecordingChannel),
          logger(Poco::Logger::create("serializer_test", channel, level)) {}
    RecordingLogger(const RecordingLogger&) = delete;
    RecordingLogger& operator=(const RecordingLogger&) = delete;
    ~RecordingLogger() { Poco::Logger::destroy("serializer_test"); }

    Poco::AutoPtr<RecordingChannel> channel;
    Poco::Logger& logger;
};

template <class Action>
std::string MessageOf(Action action) {
    try {
        action();
    } catch (const SerializationException& exception) {
        return exception.what();
    }
    return "nothing was thrown";
}

/// "=" and the value as text, or why it is none.
template <class T>
std::string ReadText(const std::string& text) {
    NodeTree tree;
    NodeRef node = tree.GetRoot().AddNode("n", NodeValue);
    node.SetValue(text);
    SerializationResult result;
    try {
        T value = Serializer<NodeRef>().DeserializePrivate<T>(node, result);
        Serializer<NodeRef>().SerializePrivate(node, value, result);
        return "=" + node.GetValue();
    } catch (const SerializationException& exception) {
        return exception.what();
    }
}

template <class T>
void ExpectInteger(const std::string& name) {
    const std::string smallest = std::to_string(std::numeric_limits<T>::min());
    const std::string largest = std::to_string(std::numeric_limits<T>::max());
    for (const std::string& text : {smallest, largest, std::string("0"), std::string("7")}) {
        EXPECT_EQ(ReadText<T>(text), "=" + text) << name;
    }
    std::vector<std::string> unreadable = {"",      " ",   "1 ",    " 1",       "+1",
                                           "12abc", "1,2", "1.0",   "1e2",      "0x1",
                                           "- 1",   "--1", "1'000", "\xd9\xa1", largest + "0"};
    std::string over = largest;
    ++over.back();
    unreadable.push_back(over);
    std::string under = std::is_unsigned_v<T> ? "-1" : smallest;
    if (!std::is_unsigned_v<T>) {
        ++under.back();
    }
    unreadable.push_back(under);
    for (const std::string& text : unreadable) {
        EXPECT_EQ(ReadText<T>(text), "'" + text + "' is not " + name + ".");
    }
    EXPECT_EQ(ReadText<T>(std::string("1\0", 2)), "'1\\x00' is not " + name + ".");
}

TEST(StrictRead, TakesIntegersOfFittingSizeOnly) {
    ExpectInteger<short>("a 16-bit signed integer");
    ExpectInteger<unsigned short>("a 16-bit unsigned integer");
    ExpectInteger<int>("a 32-bit signed integer");
    ExpectInteger<unsigned int>("a 32-bit unsigned integer");
    ExpectInteger<long>("a 64-bit signed integer");
    ExpectInteger<unsigned long>("a 64-bit unsigned integer");
    ExpectInteger<long long>("a 64-bit signed integer");
    ExpectInteger<unsigned long long>("a 64-bit unsigned integer");
}

TEST(StrictRead, TakesFloatingPointNumbersExactly) {
    for (const char* text : {"0.1", "-0", "1e+300", "5e-324", "inf", "-inf", "nan", "12345678.9"}) {
        EXPECT_EQ(ReadText<double>(text), "=" + std::string(text));
    }
    EXPECT_EQ(ReadText<float>("0.1"), "=0.1");
    EXPECT_EQ(ReadText<float>("16777216"), "=16777216");
    for (const char* text : {"", " 1", "1 ", "1,5", "1.5x", "+1", "0x1p3", "1e999"}) {
        const std::string quoted = "'" + std::string(text) + "' is not a ";
        EXPECT_EQ(ReadText<double>(text), quoted + "64-bit floating-point number.");
        EXPECT_EQ(ReadText<float>(text), quoted + "32-bit floating-point number.");
    }
    EXPECT_EQ(ReadText<float>("1e39"), "'1e39' is not a 32-bit floating-point number.");
}

TEST(StrictRead, TakesWholeTextsOfOtherTypesOnly) {
    EXPECT_EQ(ReadText<char>("a"), "=a");
    EXPECT_EQ(ReadText<char>(std::string(1, '\0')), "=" + std::string(1, '\0'));
    EXPECT_EQ(ReadText<char>("\xff"), "=\xff");
    EXPECT_EQ(ReadText<char>("ab"), "'ab' is not a single character.");
    EXPECT_EQ(ReadText<char>(""), "'' is not a single character.");
    EXPECT_EQ(ReadText<bool>("true"), "=true");
    EXPECT_EQ(ReadText<bool>("false"), "=false");
    for (const std::string text : {"", "1", "0", "True", "true "}) {
        EXPECT_EQ(ReadText<bool>(text), "'" + text + "' is not 'true' or 'false'.");
    }
    EXPECT_EQ(ReadText<std::string>(""), "=");
    EXPECT_EQ(ReadText<std::string>(" 1 "), "= 1 ");
    EXPECT_EQ(ReadText<utils::Version>("1.2.3"), "=1.2.3");
    EXPECT_EQ(ReadText<utils::Version>("1.2"), "'1.2' is not a version such as '1.0.0'.");
}

TEST(StrictRead, QuotesLongTextsShortened) {
    const std::string a60(60, 'a');
    EXPECT_EQ(ReadText<int>(a60 + "1234"), "'" + a60 + "1234' is not a 32-bit signed integer.");
    EXPECT_EQ(ReadText<int>(a60 + "12345"), "'" + a60 + "1234...' is not a 32-bit signed integer.");
    EXPECT_EQ(ReadText<int>(a60 + "123\xc3\xa4zz"),
              "'" + a60 + "123...' is not a 32-bit signed integer.");
}

TEST(StrictRead, IgnoresTheGlobalLocale) {
    struct Grouped : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale(), new Grouped));
    const std::string number = ReadText<double>("1234567.5");
    const std::string version = ReadText<utils::Version>("1.2.60000");
    const std::string description = GreaterThan(1234567).GetDescription();
    std::locale::global(before);
    EXPECT_EQ(number, "=1234567.5");
    EXPECT_EQ(version, "=1.2.60000");
    EXPECT_EQ(description, "Is greater than 1234567");
}

/// Nodes in every state that a value of type int can be in.
struct States {
    States() {
        NodeRef root = tree.GetRoot();
        root.AddNode("good", NodeValue).SetValue("5");
        root.AddNode("zero", NodeValue).SetValue("0");
        root.AddNode("bad", NodeValue).SetValue("5%s");
        root.AddNode("bare", NodeValue);
    }

    NodeTree tree;
};

constexpr const char* notRead = "value left alone";

/// Reads under a rule that throws and gives the value, or the message.
template <class Rule>
std::string ReadUnder(const Rule& rule, const std::string& name) {
    const States states;
    RecordingLogger log;
    int value = 77;
    const std::string message = MessageOf([&] {
        Serializer<NodeRef>().Deserialize(states.tree.GetRoot()[name], value, rule,
                                          Throw(false, log.logger));
    });
    EXPECT_TRUE(log.channel->messages.empty());
    if (message != "nothing was thrown") {
        EXPECT_EQ(value, 77) << notRead;
        return message;
    }
    return "=" + std::to_string(value);
}

template <class Rule>
int ReadOr(const Rule& rule, const std::string& name, int defaultValue) {
    const States states;
    int value = 77;
    Serializer<NodeRef>().Deserialize(states.tree.GetRoot()[name], value, rule, defaultValue);
    return value;
}

TEST(ReadUnderRule, PassesOrThrowsByStateOfTheValue) {
    const std::string badReason = " Reason: '5%s' is not a 32-bit signed integer.";
    const std::string bareReason = " Reason: The node holds no value.";
    const auto broken = [](const std::string& name, const std::string& rule) {
        return "Value at position '/" + name + "' broke rule '" + rule + "'.";
    };
    EXPECT_EQ(ReadUnder(Mandatory(), "good"), "=5");
    EXPECT_EQ(ReadUnder(Mandatory(), "zero"), "=0");
    EXPECT_EQ(ReadUnder(Mandatory(), "bad"), broken("bad", "Is mandatory") + badReason);
    EXPECT_EQ(ReadUnder(Mandatory(), "bare"), broken("bare", "Is mandatory") + bareReason);
    EXPECT_EQ(ReadUnder(Mandatory(), "none"), broken("none", "Is mandatory"));

    EXPECT_EQ(ReadUnder(Optional(), "good"), "=5");
    EXPECT_EQ(ReadUnder(Optional(), "bad"), "=0");
    EXPECT_EQ(ReadUnder(Optional(), "bare"), "=0");
    EXPECT_EQ(ReadUnder(Optional(), "none"), "=0");

    EXPECT_EQ(ReadUnder(GreaterThan(4), "good"), "=5");
    EXPECT_EQ(ReadUnder(GreaterThan(5), "good"), broken("good", "Is greater than 5"));
    EXPECT_EQ(ReadUnder(GreaterThan(0U), "zero"), broken("zero", "Is greater than 0"));
    EXPECT_EQ(ReadUnder(GreaterThan(-1), "bad"), broken("bad", "Is greater than -1") + badReason);
    EXPECT_EQ(ReadUnder(GreaterThan(-1), "none"), broken("none", "Is greater than -1"));

    EXPECT_EQ(ReadUnder(Exist(), "good"), "=5");
    EXPECT_EQ(ReadUnder(Exist(), "bad"), "=0");
    EXPECT_EQ(ReadUnder(Exist(), "none"), broken("none", "Exists"));
}

TEST(ReadUnderRule, TakesTheDefaultByStateOfTheValue) {
    EXPECT_EQ(ReadOr(Mandatory(), "good", 9), 5);
    EXPECT_EQ(ReadOr(Mandatory(), "bad", 9), 9);
    EXPECT_EQ(ReadOr(Mandatory(), "none", 9), 9);
    EXPECT_EQ(ReadOr(Optional(), "bad", 9), 9);
    EXPECT_EQ(ReadOr(Optional(), "none", 9), 9);
    EXPECT_EQ(ReadOr(GreaterThan(0), "good", 9), 5);
    EXPECT_EQ(ReadOr(GreaterThan(0), "zero", 9), 9);
    EXPECT_EQ(ReadOr(GreaterThan(0), "none", 0), 0);
}

TEST(ReadUnderRule, TakesLiteralsAsDefault) {
    NodeTree tree;
    std::string text = "before";
    Serializer<NodeRef>().Deserialize(tree.GetRoot()["Name"], text, Mandatory(), "fallback");
    EXPECT_EQ(text, "fallback");
    unsigned long long number = 1;
    Serializer<NodeRef>().Deserialize(tree.GetRoot()["Name"], number, Optional(), 0);
    EXPECT_EQ(number, 0U);
}

TEST(GreaterThanRule, ComparesByValueAcrossSigns) {
    SerializationResult result;
    result.status = SerializationResult::done;
    EXPECT_FALSE(GreaterThan(0U).Check(result, -1));
    EXPECT_TRUE(GreaterThan(-1).Check(result, 0U));
    EXPECT_TRUE(GreaterThan('a').Check(result, 'b'));
    EXPECT_FALSE(GreaterThan(0.0).Check(result, std::nan("")));
    EXPECT_TRUE(GreaterThan(utils::Version(1, 0, 0).ToString()).Check(result, std::string("2")));
    EXPECT_EQ(GreaterThan('a').GetDescription(), "Is greater than a");
    EXPECT_EQ(GreaterThan(0.5).GetDescription(), "Is greater than 0.5");
}

TEST(RuleTest, AsksForTheNodeAlone) {
    const States states;
    RecordingLogger log;
    const Serializer<NodeRef> serializer;
    const ThrowErrorHandler handler = Throw(true, log.logger);
    serializer.Test(states.tree.GetRoot()["bare"], Exist(), handler);
    EXPECT_EQ(
        MessageOf([&] { serializer.Test(states.tree.GetRoot()["a"]["b"], Exist(), handler); }),
        "Value at position '/a/b' broke rule 'Exists'.");
    EXPECT_EQ(log.channel->messages.size(), 1U);
}

TEST(ThrowErrorHandler, LogsTheTextAsItStandsAtItsFixedPosition) {
    const States states;
    RecordingLogger log;
    int value = 0;
    const std::string message = MessageOf([&] {
        Serializer<NodeRef>().Deserialize(states.tree.GetRoot()["bad"], value, Mandatory(),
                                          Throw(true, log.logger));
    });
    ASSERT_EQ(log.channel->messages.size(), 1U);
    const Poco::Message& logged = log.channel->messages.front();
    EXPECT_EQ(logged.getText(), message);
    EXPECT_NE(message.find("5%s"), std::string::npos);
    EXPECT_EQ(logged.getPriority(), Poco::Message::PRIO_WARNING);
    EXPECT_EQ(logged.getSource(), "serializer_test");
    EXPECT_EQ(std::string(logged.getSourceFile()), "src/libs/serializer/error_handlers");
    EXPECT_EQ(logged.getSourceLine(), 89);
}

TEST(ThrowErrorHandler, LogsNothingBelowItsLevelAndThrowsAllTheSame) {
    RecordingLogger log(Poco::Message::PRIO_ERROR);
    EXPECT_EQ(MessageOf([&] {
                  Throw(true, log.logger).Handle({"", "R", "/"});
              }),
              "Value at position '/' broke rule 'R'.");
    EXPECT_TRUE(log.channel->messages.empty());
}

TEST(ReadUnderRule, MindsTheStatusThatASpecialisationSets) {
    NodeTree tree;
    NodeRef node = tree.GetRoot().AddNode("n", NodeElement);
    const Serializer<NodeRef> serializer;
    Odd odd;
    node.SetValue("doubtful");
    serializer.Deserialize(node, odd, Optional(), Odd{5});
    EXPECT_EQ(odd.number, 8) << "the value read, although its status is failed";
    serializer.Deserialize(node, odd, Mandatory(), Odd{5});
    EXPECT_EQ(odd.number, 5) << "the default, not what the rule refused";
    node.SetValue("foreign");
    EXPECT_THROW(serializer.Deserialize(node, odd, Optional(), Odd{6}), std::out_of_range);
    EXPECT_EQ(odd.number, 5);
}

TEST(WriteUnderRule, RecordsABrokenRuleAndThrowsNothing) {
    NodeTree tree;
    NodeRef node = tree.GetRoot().AddNode("n", NodeValue);
    const Serializer<NodeRef> serializer;
    std::optional<BrokenRule> broken;
    serializer.Serialize(node, 5L, GreaterThan(5), broken);
    EXPECT_EQ(node.GetValue(), "5");
    ASSERT_TRUE(broken.has_value());
    EXPECT_EQ(broken->description, "Is greater than 5");
    EXPECT_EQ(broken->position, "/n");
    EXPECT_EQ(broken->reason, "");
    serializer.Serialize(node, 'x', Mandatory(), broken);
    EXPECT_EQ(node.GetValue(), "x");
    EXPECT_FALSE(broken.has_value());
    serializer.Serialize(tree.GetRoot()["absent"], 5, Mandatory(), broken);
    EXPECT_TRUE(broken.has_value());
    EXPECT_FALSE(tree.GetRoot()["absent"].Exists());
    serializer.Serialize(node, Odd(), Mandatory(), broken);
    ASSERT_TRUE(broken.has_value());
    EXPECT_EQ(broken->reason, "Odd things can't be written.");
    serializer.Serialize(node, Odd(), Mandatory());
}

}  // namespace
}  // namespace velmora::core::serialization
