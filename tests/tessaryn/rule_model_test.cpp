// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Random rules on random samples, against a second evaluator. The rules are made as trees of the
// test's own together with their texts, the samples together with plain lists of values; only the
// conversions between values are POCO's on both sides, for they define the language.

#include "support/random.h"
#include "support/rules.h"
#include "support/samples.h"
#include "tessaryn/sample.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using Poco::Dynamic::Var;
using test::OutcomeOf;
using test::Random;

/// A rule as the test sees it; `kind` is the operator, or what the leaf is.
struct Node {
    std::string kind;
    std::vector<Node> operands;
    std::string name, property;
    int from = 0, to = -1;
    Var literal;
};

struct Literal {
    std::string text;
    Var value;
};

const std::vector<Literal>& Literals() {
    static const std::vector<Literal> literals = {
        {"0", Poco::Int64(0)},
        {"1", Poco::Int64(1)},
        {"-1", Poco::Int64(-1)},
        {"7", Poco::Int64(7)},
        {"0x1f", Poco::Int64(31)},
        {"-128", Poco::Int64(-128)},
        {"300", Poco::Int64(300)},
        {"-40000", Poco::Int64(-40000)},
        {"4294967295", Poco::Int64(4294967295)},
        {"9223372036854775807", std::numeric_limits<Poco::Int64>::max()},
        {"7.5", 7.5},
        {"-0.5", -0.5},
        {"-128.0", -128.0},
        {"0.1", 0.1},
        {"1e3", 1000.0},
        {"4e9", 4e9},
        {"1e300", 1e300},
        {"true", true},
        {"false", false},
        {"\"\"", std::string()},
        {"\"7\"", std::string("7")},
        {"\"-1\"", std::string("-1")},
        {"\"7.5\"", std::string("7.5")},
        {"\"abc\"", std::string("abc")},
        {"\"a\\\"\\\\\"", std::string("a\"\\")},
        {"\"false\"", std::string("false")},
        {"\"Int8\"", std::string("Int8")},
        {"\"\xff\"", std::string("\xff")}};
    return literals;
}

/// Makes a rule and its text, in all shapes that the grammar has.
class RuleMaker {
  public:
    RuleMaker(Random& source, int depthLimit) : random(source), depth(depthLimit) {}

    /// \param atEnd whether a bare name may be the last that is written
    Node Expression(std::string& text, unsigned level, bool atEnd) {
        static const std::array<std::string, 3> operators = {"^^", "||", "&&"};
        if (level == operators.size())
            return Relation(text, atEnd);
        const unsigned count = Chance(3) ? 2 + random.Below(2) : 1;
        Node left;
        for (unsigned i = 0; i < count; ++i) {
            if (i > 0)
                text += Blank() + operators[level] + Blank();
            Node next = Expression(text, level + 1, atEnd && i + 1 == count);
            left = i == 0 ? std::move(next) : Join(operators[level], left, std::move(next));
        }
        return left;
    }

  private:
    static Node Join(const std::string& kind, const Node& left, Node right) {
        Node joined;
        joined.kind = kind;
        joined.operands = {left, std::move(right)};
        return joined;
    }

    bool Chance(unsigned of) { return random.Below(of) == 0; }
    std::string Blank() { return Chance(3) ? "" : " "; }
    std::string Pick(const std::vector<std::string>& from) {
        return from[random.Below(static_cast<unsigned>(from.size()))];
    }

    Node Relation(std::string& text, bool atEnd) {
        if (Chance(5)) {
            text += "!" + Blank();
            Node negation;
            negation.kind = "!";
            negation.operands = {Positive(text, atEnd)};
            return negation;
        }
        return Positive(text, atEnd);
    }

    Node Positive(std::string& text, bool atEnd) {
        if (Chance(30))
            return {};
        if (depth > 0 && Chance(4)) {
            --depth;
            text += "(" + Blank();
            Node group = Expression(text, 0, true);
            text += Blank() + ")";
            ++depth;
            return group;
        }
        Node leaf;
        leaf.name = Pick({"a", "b", "c", "nosuch"});
        const unsigned form = random.Below(atEnd ? 5 : 4);
        if (form == 0) {
            leaf.kind = "func";
            leaf.name = Pick({"pushed", "popped", "changed", "true", "other"});
            text += leaf.name + "()";
        } else if (form == 1) {
            leaf.kind = "prop";
            leaf.property = Pick({"type", "size", "exists", "front", "back", "other"});
            text += leaf.name + Blank() + "." + leaf.property;
        } else if (form == 2) {
            leaf.kind = "index";
            text += leaf.name + "[" + IndexText(leaf) + "]";
        } else {
            leaf.kind = form == 3 ? "index" : "exists";
            text += leaf.name;
        }
        if (form == 3 || (form < 3 && !Chance(4)))
            return Comparison(std::move(leaf), text);
        return leaf;
    }

    std::string IndexText(Node& leaf) {
        leaf.from = static_cast<int>(random.Below(5)) - 1;
        leaf.to = static_cast<int>(random.Below(6)) - 1;
        const std::string from = std::to_string(leaf.from);
        const std::string to = std::to_string(leaf.to);
        switch (random.Below(5)) {
            case 0:
                leaf.to = leaf.from;
                return from;
            case 1:
                leaf.to = -1;
                return from + ":";
            case 2:
                leaf.from = 0;
                return ":" + to;
            case 3:
                leaf.from = 0;
                leaf.to = -1;
                return ":";
            default:
                return from + " : " + to;
        }
    }

    Node Comparison(Node left, std::string& text) {
        Node comparison;
        comparison.kind = Pick({"<", "<=", ">", ">=", "==", "!="});
        comparison.operands = {std::move(left)};
        const Literal& literal = Literals()[random.Below(static_cast<unsigned>(Literals().size()))];
        comparison.literal = literal.value;
        text += Blank() + comparison.kind + Blank() + literal.text;
        return comparison;
    }

    Random& random;
    int depth;
};

void Dump(const Node& node, const std::string& indent, std::string& out) {
    if (node.kind.empty())
        return;
    if (node.kind == "func" || node.kind == "exists") {
        out += indent + node.kind + ": " + node.name + "|";
    } else if (node.kind == "prop") {
        out += indent + "prop: " + node.name + "." + node.property + "|";
    } else if (node.kind == "index") {
        out += indent + "index: " + node.name + "[" + std::to_string(node.from) + ":" +
               std::to_string(node.to) + "]|";
    } else {
        out += indent + node.kind + "|";
        for (const Node& operand : node.operands)
            Dump(operand, indent + " ", out);
        if (!node.literal.isEmpty())
            out += indent + " " + node.literal.toString() + "|";
    }
}

/// An entry as the test sees it: its elements, each as the native value.
struct Entry {
    BaseType type = UnknownType;
    std::vector<Var> elements;
};

class Model {
  public:
    std::map<std::string, Entry> entries;
    StreamChangeType change = pushed;

    bool Truth(const Node& node) const { return Value(node).second.convert<bool>(); }

  private:
    using Typed = std::pair<BaseType, Var>;

    static Typed Of(bool truth) { return {Bool, truth}; }

    Typed Value(const Node& node) const {
        const auto& operands = node.operands;
        if (node.kind.empty())
            return {};
        if (node.kind == "&&")
            return Of(Truth(operands[0]) ? Truth(operands[1]) : false);
        if (node.kind == "||")
            return Of(Truth(operands[0]) ? true : Truth(operands[1]));
        if (node.kind == "^^") {
            const Var right = Value(operands[1]).second;
            const Var left = Value(operands[0]).second;
            const bool leftTruth = left.convert<bool>();
            return Of(leftTruth != right.convert<bool>());
        }
        if (node.kind == "!")
            return Of(!Truth(operands[0]));
        if (node.kind == "func") {
            return Of(node.name == "true" || (node.name == "pushed" && change == pushed) ||
                      (node.name == "popped" && change == popped) ||
                      (node.name == "changed" && change == changed));
        }
        if (node.kind == "exists")
            return Of(entries.count(node.name) == 1);
        if (node.kind == "prop")
            return Property(node);
        if (node.kind == "index")
            return Index(node);
        try {
            return Of(Compare(node));
        } catch (const Poco::Exception&) {
            return Of(false);
        }
    }

    static Var Whole(const Entry& entry) {
        std::string text;
        for (const Var& character : entry.elements)
            text += character.extract<char>();
        return text;
    }

    static Var Element(const Entry& entry, std::size_t index) {
        if (entry.type == String)
            return Whole(entry);
        if (index >= entry.elements.size())
            throw std::out_of_range("Index out of range.");
        return entry.elements[index];
    }

    Typed Property(const Node& node) const {
        const auto place = entries.find(node.name);
        if (node.property == "exists")
            return Of(place != entries.end());
        if (place == entries.end())
            return {};
        const Entry& entry = place->second;
        if (node.property == "type")
            return {String, ToString(entry.type)};
        if (node.property == "size")
            return {UInt32, static_cast<unsigned int>(entry.elements.size())};
        if (node.property == "front")
            return {entry.type, Element(entry, 0)};
        if (node.property == "back")
            return {entry.type, Element(entry, entry.elements.size() - 1)};
        return {};
    }

    Typed Index(const Node& node) const {
        const auto place = entries.find(node.name);
        if (place == entries.end())
            return {};
        const Entry& entry = place->second;
        const int size = static_cast<int>(entry.elements.size());
        const int from = node.from < 0 ? 0 : node.from;
        const int to = node.to < 0 || node.to >= size ? size - 1 : node.to;
        if (from > to)
            return {};
        if (from == to)
            return {entry.type, Element(entry, static_cast<std::size_t>(from))};
        std::vector<Var> elements;
        for (int i = from; i <= to; ++i)
            elements.push_back(Element(entry, static_cast<std::size_t>(i)));
        return {entry.type, elements};
    }

    bool Compare(const Node& node) const {
        const auto [type, value] = Value(node.operands[0]);
        if (value.type() != typeid(std::vector<Var>))
            return CompareElement(node, type, value);
        for (const Var& element : value.extract<std::vector<Var>>()) {
            if (!CompareElement(node, type, element))
                return false;
        }
        return true;
    }

    static bool CompareElement(const Node& node, BaseType type, const Var& value) {
        switch (type) {
            // clang-format off
            case Int8: return CompareAs<char, Poco::Int8>(node, value);
            case Int16: return CompareAs<short>(node, value);
            case Int32: return CompareAs<int>(node, value);
            case Int64: return CompareAs<long long>(node, value);
            case UInt8: return CompareAs<unsigned char>(node, value);
            case UInt16: return CompareAs<unsigned short>(node, value);
            case UInt32: return CompareAs<unsigned int>(node, value);
            case UInt64: return CompareAs<unsigned long long>(node, value);
            case Float: return CompareAs<float>(node, value);
            case Double: return CompareAs<double>(node, value);
            case Bool: return CompareAs<bool>(node, value);
            case String: return CompareAs<std::string>(node, value);
            default: return false;
                // clang-format on
        }
    }

    template <class T, class Converted = T>
    static bool CompareAs(const Node& node, const Var& value) {
        const auto left = static_cast<Converted>(value.extract<T>());
        const auto right = node.literal.convert<Converted>();
        const std::string& kind = node.kind;
        return kind == "=="   ? left == right
               : kind == "!=" ? left != right
               : kind == "<"  ? left < right
               : kind == "<=" ? left <= right
               : kind == ">"  ? left > right
                              : left >= right;
    }
};

/// Fills an entry of the sample and the model with values near those that rules compare with.
template <class T>
void Fill(Random& random, Sample& sample, unsigned short id, unsigned count, Entry& entry) {
    static const std::vector<double> near = {
        0, 1, -1, 7, 31, -128, 300, -40000, 4294967295.0, 7.5, -0.5, 0.1, 1000, 4e9, 127, 255};
    for (unsigned i = 0; i < count; ++i) {
        double value = near[random.Below(static_cast<unsigned>(near.size()))];
        // What the type can't hold becomes one of its own limits.
        if (value < static_cast<double>(std::numeric_limits<T>::lowest()))
            value = static_cast<double>(std::numeric_limits<T>::lowest());
        const bool tooLarge = value > static_cast<double>(std::numeric_limits<T>::max());
        const T native = tooLarge ? std::numeric_limits<T>::max() : static_cast<T>(value);
        sample.Set(id, i, native);
        entry.elements.emplace_back(native);
    }
}

void FillText(Random& random, Sample& sample, unsigned short id, Entry& entry) {
    const std::vector<std::string> texts = {"", "7", "-1", "abc", "a\"\\", "true", "\xff", "Int8"};
    const std::string& text = texts[random.Below(static_cast<unsigned>(texts.size()))];
    sample.Set(id, text);
    entry.elements.assign(text.begin(), text.end());
}

void FillRandomly(Random& random, Sample& sample, unsigned short id, Entry& entry) {
    const unsigned count = random.Below(4);
    sample.Resize(id, count);
    switch (entry.type) {
        // clang-format off
        case Int8: return Fill<char>(random, sample, id, count, entry);
        case Int16: return Fill<short>(random, sample, id, count, entry);
        case Int32: return Fill<int>(random, sample, id, count, entry);
        case Int64: return Fill<long long>(random, sample, id, count, entry);
        case UInt8: return Fill<unsigned char>(random, sample, id, count, entry);
        case UInt16: return Fill<unsigned short>(random, sample, id, count, entry);
        case UInt32: return Fill<unsigned int>(random, sample, id, count, entry);
        case UInt64: return Fill<unsigned long long>(random, sample, id, count, entry);
        case Float: return Fill<float>(random, sample, id, count, entry);
        case Double: return Fill<double>(random, sample, id, count, entry);
        case Bool: return Fill<bool>(random, sample, id, count, entry);
        case String: return FillText(random, sample, id, entry);
        default: FAIL();
            // clang-format on
    }
}

TEST(RuleModel, RandomRulesAnswerAsASecondEvaluatorDoes) {
    Random random;
    std::map<std::string, int> outcomes;
    for (int round = 0; round < 2000 && !testing::Test::HasFailure(); ++round) {
        std::string text;
        const Node node = RuleMaker(random, 4).Expression(text, 0, true);
        std::string dump;
        Dump(node, "", dump);
        const std::shared_ptr<RLExpr> tree = test::Parse(text);
        ASSERT_EQ(test::DumpOf(tree.get()), dump) << text;
        const ExpressionRule rule(text);

        for (int change = 0; change < 3; ++change) {
            Model model;
            model.change = static_cast<StreamChangeType>(change);
            test::TestType type({});
            for (const std::string name : {"a", "b", "c"}) {
                const auto valueType = static_cast<BaseType>(1 + random.Below(12));
                if (random.Below(5) == 0)
                    continue;
                type.type.Add(name, valueType, 1);
                model.entries[name].type = valueType;
            }
            Sample sample(&type.type, Poco::Timestamp());
            for (auto& [name, entry] : model.entries)
                FillRandomly(random, sample, sample.EntryId(name), entry);
            SubscriptionArgs args{model.change, &sample, nullptr};
            const std::string expected = OutcomeOf([&] { return model.Truth(node); });
            const std::string where = text + "\n" + test::BinaryOf(sample);
            ASSERT_EQ(OutcomeOf([&] { return rule.Applies(args); }), expected) << where;
            const auto ofTree = [&] { return valueOf(tree.get(), args).convert<bool>(); };
            ASSERT_EQ(OutcomeOf(ofTree), expected) << where;
            ++outcomes[expected];
        }
    }
    // Rules that all fail, or all hold, would show nothing.
    EXPECT_GT(outcomes["true"], 500);
    EXPECT_GT(outcomes["false"], 500);
    EXPECT_GT(outcomes["std: Index out of range."], 20);
    EXPECT_GT(outcomes["Bad cast exception: Can not convert to bool"], 20);
    EXPECT_GT(outcomes["Invalid access: Can not convert empty value."], 20);
}

}  // namespace
}  // namespace velmora::core::tessaryn
