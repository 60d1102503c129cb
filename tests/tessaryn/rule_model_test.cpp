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

#include <limits>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using Poco::Dynamic::Var;
using test::OutcomeOf;
using test::Random;

/// A rule as the test sees it; `kind` is the operator, or what the leaf is, or nothing.
struct Node {
    std::string kind, text;
    std::vector<Node> operands;
    std::string name, property;
    int from = 0, to = -1;
    Var literal;
};

/// Makes rules and their texts, in all shapes that the grammar has.
class RuleMaker {
  public:
    explicit RuleMaker(Random& source) : random(source) {}

    /// \param atEnd whether a bare name may come last
    Node Expression(unsigned level, bool atEnd) {
        static const std::vector<std::string> operators = {"^^", "||", "&&"};
        if (level == operators.size())
            return Relation(atEnd);
        const unsigned count = Chance(3) ? 2 + random.Below(2) : 1;
        Node left = Expression(level + 1, atEnd && count == 1);
        for (unsigned i = 1; i < count; ++i) {
            Node right = Expression(level + 1, atEnd && i + 1 == count);
            const std::string text = left.text + Blank() + operators[level] + Blank() + right.text;
            left = Node{operators[level], text, {left, right}, "", "", 0, -1, {}};
        }
        return left;
    }

  private:
    bool Chance(unsigned of) { return random.Below(of) == 0; }
    std::string Blank() { return Chance(3) ? "" : " "; }
    std::string Pick(const std::vector<std::string>& from) {
        return from[random.Below(static_cast<unsigned>(from.size()))];
    }

    Node Relation(bool atEnd) {
        Node node = Chance(30) ? Node() : depth < 4 && Chance(4) ? Group() : Leaf(atEnd);
        if (!Chance(5))
            return node;
        return {"!", "!" + Blank() + node.text, {node}, "", "", 0, -1, {}};
    }

    Node Group() {
        ++depth;
        Node group = Expression(0, true);
        group.text = "(" + Blank() + group.text + Blank() + ")";
        --depth;
        return group;
    }

    Node Leaf(bool atEnd) {
        Node leaf;
        leaf.name = Pick({"a", "b", "c", "nosuch"});
        leaf.kind = Pick({"func", "prop", "index", "whole", atEnd ? "exists" : "whole"});
        if (leaf.kind == "func")
            leaf.name = Pick({"pushed", "popped", "changed", "true", "other"});
        leaf.text = leaf.name;
        if (leaf.kind == "func")
            leaf.text += "()";
        if (leaf.kind == "prop") {
            leaf.property = Pick({"type", "size", "exists", "front", "back", "other"});
            leaf.text += Blank() + "." + leaf.property;
        }
        if (leaf.kind == "index")
            AddIndex(leaf);
        const bool compared = leaf.kind == "whole" || (leaf.kind != "exists" && !Chance(4));
        if (leaf.kind == "whole")
            leaf.kind = "index";
        return compared ? Comparison(leaf) : leaf;
    }

    void AddIndex(Node& leaf) {
        const std::string from = std::to_string(leaf.from = static_cast<int>(random.Below(5)) - 1);
        const std::string to = std::to_string(leaf.to = static_cast<int>(random.Below(6)) - 1);
        const std::string form = Pick({"i", "i:", ":j", ":", "i : j"});
        leaf.from = form[0] == 'i' ? leaf.from : 0;
        leaf.to = form == "i" ? leaf.from : form.back() == 'j' ? leaf.to : -1;
        leaf.text += '[';
        for (const char c : form)
            leaf.text += c == 'i' ? from : c == 'j' ? to : std::string(1, c);
        leaf.text += ']';
    }

    Node Comparison(const Node& left) {
        Node node;
        node.kind = Pick({"<", "<=", ">", ">=", "==", "!="});
        node.operands = {left};
        std::string text;
        switch (random.Below(4)) {
            case 0:
                text = Pick({"0", "1", "-1", "7", "31", "-128", "300", "-40000", "4294967295",
                             "9223372036854775807"});
                node.literal = Poco::Int64(std::stoll(text));
                break;
            case 1:
                text = Pick({"7.5", "-0.5", "-128.0", "0.1", "1e3", "4e9", "1e300"});
                node.literal = std::stod(text);
                break;
            case 2:
                text = Pick({"", "7", "-1", "7.5", "abc", "a\"\\", "false", "Int8", "\xff"});
                node.literal = text;
                text = test::Quoted(text);
                break;
            default:
                text = Pick({"true", "false"});
                node.literal = text == "true";
        }
        node.text = left.text + Blank() + node.kind + Blank() + text;
        return node;
    }

    Random& random;
    int depth = 0;
};

void Dump(const Node& node, const std::string& indent, std::string& out) {
    if (node.kind.empty())
        return;
    if (node.kind == "index") {
        out += indent + "index: " + node.name + "[" + std::to_string(node.from) + ":" +
               std::to_string(node.to) + "]|";
    } else if (node.operands.empty()) {
        out += indent + node.kind + ": " + node.name;
        out += node.kind == "prop" ? "." + node.property + "|" : "|";
    } else {
        out += indent + node.kind + "|";
        for (const Node& operand : node.operands)
            Dump(operand, indent + " ", out);
        if (!node.literal.isEmpty())
            out += indent + " " + node.literal.toString() + "|";
    }
}

/// Calls a function template's instance for the native type of a value type.
template <class Call>
bool ForNative(BaseType type, Call call) {
    // clang-format off
    switch (type) {
        case Int8: return call(char());
        case Int16: return call(short());
        case Int32: return call(int());
        case Int64: return call(0LL);
        case UInt8: return call(static_cast<unsigned char>(0));
        case UInt16: return call(static_cast<unsigned short>(0));
        case UInt32: return call(0U);
        case UInt64: return call(0ULL);
        case Float: return call(0.0F);
        case Double: return call(0.0);
        case Bool: return call(false);
        case String: return call(std::string());
        default: return false;
    }
    // clang-format on
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
        return ForNative(type, [&](auto native) {
            using Native = decltype(native);
            // A literal never is a character.
            using Converted = std::conditional_t<std::is_same_v<Native, char>, Poco::Int8, Native>;
            const auto left = static_cast<Converted>(value.extract<Native>());
            const auto right = node.literal.convert<Converted>();
            const std::string& kind = node.kind;
            return kind == "=="   ? left == right
                   : kind == "!=" ? left != right
                   : kind == "<"  ? left < right
                   : kind == "<=" ? left <= right
                   : kind == ">"  ? left > right
                                  : left >= right;
        });
    }
};

/// Fills an entry of the sample and the model with values near those that rules compare with.
void Fill(Random& random, Sample& sample, unsigned short id, Entry& entry) {
    static const std::vector<double> near = {0,   1,    -1,  7,    31,  -128, 300, -40000,
                                             7.5, -0.5, 0.1, 1000, 4e9, 127,  255, 4294967295.0};
    static const std::vector<std::string> texts = {"",      "7",    "-1",   "abc",
                                                   "a\"\\", "true", "\xff", "Int8"};
    const unsigned count = random.Below(4);
    ForNative(entry.type, [&](auto native) {
        using Native = decltype(native);
        if constexpr (std::is_same_v<Native, std::string>) {
            const std::string& text = texts[random.Below(static_cast<unsigned>(texts.size()))];
            sample.Set(id, text);
            entry.elements.assign(text.begin(), text.end());
        } else {
            sample.Resize(id, count);
            using Limits = std::numeric_limits<Native>;
            for (unsigned i = 0; i < count; ++i) {
                const double value = near[random.Below(static_cast<unsigned>(near.size()))];
                // What the type can't hold becomes one of its own limits.
                native = value < static_cast<double>(Limits::lowest()) ? Limits::lowest()
                         : value > static_cast<double>(Limits::max())  ? Limits::max()
                                                                       : static_cast<Native>(value);
                sample.Set(id, i, native);
                entry.elements.emplace_back(native);
            }
        }
        return true;
    });
}

TEST(RuleModel, RandomRulesAnswerAsASecondEvaluatorDoes) {
    Random random;
    std::map<std::string, int> outcomes;
    for (int round = 0; round < 2000 && !testing::Test::HasFailure(); ++round) {
        const Node node = RuleMaker(random).Expression(0, true);
        const std::string& text = node.text;
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
                Fill(random, sample, sample.EntryId(name), entry);
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
