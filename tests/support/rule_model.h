// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

// A second evaluator of rules, for plain lists of values that each sample stands beside; only the
// conversions between values are POCO's on both sides, for they define the language. A maker of
// rules says by parentheses, too, how each text is to be read.

#include "support/choices.h"
#include "support/samples.h"
#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/sample.h"
#include "tessaryn/subscription_args.h"

#include <Poco/Dynamic/Var.h>

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace velmora::test::rules {

using namespace core::tessaryn;
using Poco::Dynamic::Var;
using Vars = std::vector<Var>;

/// Calls a function template's instances for all native types, in the order of the value types.
template <class Call>
void ForNatives(Call call) {
    using Natives = std::tuple<char, short, int, long long, unsigned char, unsigned short, unsigned,
                               unsigned long long, float, double, bool, std::string>;
    std::apply([&](auto... native) { (call(native), ...); }, Natives());
}

/// An entry as the test sees it: its elements, each of a text the whole text.
struct Entry {
    BaseType type = UnknownType;
    Vars elements;
};

struct World {
    std::map<std::string, Entry> entries;
    StreamChangeType change = pushed;

    const Entry* Find(const std::string& name) const {
        const auto place = entries.find(name);
        return place == entries.end() ? nullptr : &place->second;
    }
};

inline const std::vector<std::string> joins = {"^^", "||", "&&"};
inline const std::vector<std::string> comparisons = {"<", "<=", ">", ">=", "==", "!="};

inline bool CompareElement(const std::string& symbol, const Var& value, const Var& literal) {
    bool holds = false;
    ForNatives([&](auto native) {
        using Native = decltype(native);
        // A literal never is a character.
        using Converted = std::conditional_t<std::is_same_v<Native, char>, Poco::Int8, Native>;
        if (value.type() != typeid(Native)) {
            return;
        }
        const auto left = static_cast<Converted>(value.extract<Native>());
        const auto right = literal.convert<Converted>();
        const bool less = left < right;
        const bool same = left == right;
        const bool answers[] = {less, less || same, !less && !same, !less, same, !same};
        holds = answers[std::find(comparisons.begin(), comparisons.end(), symbol) -
                        comparisons.begin()];
    });
    return holds;
}

inline Var PropertyOf(const Entry* entry, const std::string& property) {
    if (property == "exists") {
        return entry != nullptr;
    }
    if (entry == nullptr) {
        return {};
    }
    if (property == "type") {
        return ToString(entry->type);
    }
    if (property == "size") {
        return static_cast<unsigned>(entry->elements.size());
    }
    if (property != "front" && property != "back") {
        return {};
    }
    if (!entry->elements.empty()) {
        return property == "front" ? entry->elements.front() : entry->elements.back();
    }
    return entry->type == String ? Var(std::string())
                                 : throw std::out_of_range("Index out of range.");
}

inline Var ElementsOf(const Entry* entry, int first, int last) {
    const int size = entry == nullptr ? 0 : static_cast<int>(entry->elements.size());
    const int from = first < 0 ? 0 : first;
    const int to = last < 0 || last >= size ? size - 1 : last;
    if (from > to) {
        return {};
    }
    const auto begin = entry->elements.begin();
    return from == to ? *(begin + from) : Var(Vars(begin + from, begin + to + 1));
}

/// The value of a rule's tree.
inline Var ValueOf(const RLExpr* tree, const World& world) {
    const auto holds = [&](const RLExpr* operand) {
        return ValueOf(operand, world).convert<bool>();
    };
    if (const auto* const binary = dynamic_cast<const RLBinaryExpr*>(tree)) {
        const bool isOr = dynamic_cast<const RLOrExpr*>(tree) != nullptr;
        if (dynamic_cast<const RLXorExpr*>(tree) == nullptr) {
            return holds(binary->leftOperand()) == isOr ? isOr : holds(binary->rightOperand());
        }
        const Var last = ValueOf(binary->rightOperand(), world);
        const bool first = holds(binary->leftOperand());
        return first != last.convert<bool>();
    }
    if (const auto* const negation = dynamic_cast<const RLNotExpr*>(tree)) {
        return !holds(negation->negatedOperand());
    }
    if (const auto* const relation = dynamic_cast<const RLRelExpr*>(tree)) {
        const auto compare = [&](const Var& element) {
            return CompareElement(relation->symbol(), element, relation->literal());
        };
        try {
            const Var value = ValueOf(relation->leftOperand(), world);
            if (value.type() != typeid(Vars)) {
                return compare(value);
            }
            const auto& elements = value.extract<Vars>();
            return std::all_of(elements.begin(), elements.end(), compare);
        } catch (const Poco::Exception&) {
            return false;
        }
    }
    if (const auto* const property = dynamic_cast<const RLPropExpr*>(tree)) {
        return PropertyOf(world.Find(property->entryName()), property->propertyName());
    }
    if (const auto* const index = dynamic_cast<const RLIndexExpr*>(tree)) {
        return ElementsOf(world.Find(index->entryName()), index->first(), index->last());
    }
    if (const auto* const exists = dynamic_cast<const RLExistsExpr*>(tree)) {
        return world.Find(exists->entryName()) != nullptr;
    }
    if (const auto* const function = dynamic_cast<const RLFuncExpr*>(tree)) {
        static const std::map<std::string, StreamChangeType> changes = {
            {"pushed", pushed}, {"popped", popped}, {"changed", changed}};
        const auto change = changes.find(function->functionName());
        return change == changes.end() ? function->functionName() == "true"
                                       : change->second == world.change;
    }
    return {};
}

/// A rule, and the same with all that may be left out or is a matter of precedence.
struct Rule {
    std::string text;
    std::string full;
};

/// Makes rules in all shapes that the grammar has.
class RuleMaker {
  public:
    explicit RuleMaker(Choices& source) : choices(source) {}

    /// \param level index of the loosest join
    /// \param atEnd whether a bare name may come last
    Rule Expression(unsigned level, bool atEnd) {
        if (level == joins.size()) {
            return Relation(atEnd);
        }
        const unsigned count = Chance(3) ? 2 + choices.Below(2) : 1;
        Rule rule = Expression(level + 1, atEnd && count == 1);
        for (unsigned i = 1; i < count; ++i) {
            const Rule right = Expression(level + 1, atEnd && i + 1 == count);
            const std::string join = Blank() + joins[level] + Blank();
            rule = {rule.text + join + right.text,
                    '(' + rule.full + ')' + join + '(' + right.full + ')'};
        }
        return rule;
    }

  private:
    bool Chance(unsigned of) { return choices.Below(of) == 0; }
    std::string Blank() { return Chance(3) ? "" : " "; }
    std::string Pick(const std::vector<std::string>& from) {
        return from[choices.Below(static_cast<unsigned>(from.size()))];
    }

    Rule Relation(bool atEnd) {
        Rule rule;
        if (depth < 4 && Chance(4)) {
            ++depth;
            rule = Expression(0, true);
            rule = {"(" + Blank() + rule.text + Blank() + ")", rule.full};
            --depth;
        } else if (!Chance(30)) {
            rule = Leaf(atEnd);
        }
        return Chance(5) ? Rule{"!" + rule.text, "!(" + rule.full + ")"} : rule;
    }

    Rule Leaf(bool atEnd) {
        const std::string name = Pick({"a", "b", "c", "nosuch"});
        const unsigned kind = choices.Below(atEnd ? 5 : 4);
        std::string text = name;
        std::string full = name;
        if (kind == 0) {
            text = full = Pick({"pushed", "popped", "changed", "true", "other"}) + "()";
        } else if (kind == 1) {
            const std::string property = Pick({"type", "size", "exists", "front", "back", "other"});
            full += '.' + property;
            text += Blank() + '.' + property;
        } else if (kind == 4) {
            return {text, full};
        } else {
            const std::string from = std::to_string(static_cast<int>(choices.Below(5)) - 1);
            const std::string to = std::to_string(static_cast<int>(choices.Below(6)) - 1);
            const Rule indexes[] = {{"", "[0:-1]"},
                                    {"[" + from + "]", "[" + from + ":" + from + "]"},
                                    {"[" + from + ": ]", "[" + from + ":-1]"},
                                    {"[ :" + to + "]", "[0:" + to + "]"},
                                    {"[:]", "[0:-1]"}};
            const Rule& index = indexes[kind == 2 ? 0 : 1 + choices.Below(4)];
            text += index.text;
            full += index.full;
        }
        if (kind != 2 && Chance(4)) {
            return {text, full};
        }
        const std::string comparison = Blank() + Pick(comparisons) + Blank();
        const std::string literal =
            Pick({"0", "1", "-1", "7", "-128", "300", "4294967295", "7.5", "-128.0", "1e300",
                  "true", "false", "\"7\"", "\"\"", "\"abc\"", "\"Int8\"", "\"t\""});
        return {text + comparison + literal, full + comparison + literal};
    }

    Choices& choices;
    int depth = 0;
};

/// A sample with some of the entries a, b and c, whose values are near those of the literals, and
/// the same as plain values.
class ModelledSample {
  public:
    explicit ModelledSample(Choices& choices) {
        world.change = static_cast<StreamChangeType>(choices.Below(3));
        for (const std::string name : {"a", "b", "c"}) {
            const auto valueType = static_cast<BaseType>(1 + choices.Below(12));
            if (choices.Below(5) == 0) {
                continue;
            }
            layout.type.Add(name, valueType, 1);
            world.entries[name].type = valueType;
        }
        sample = Sample(&layout.type, Poco::Timestamp());
        for (auto& [name, entry] : world.entries) {
            Fill(choices, sample.EntryId(name), entry);
        }
    }

    World world;
    TestType layout{std::initializer_list<SampleEntry>{}};
    Sample sample;
    SubscriptionArgs Args() { return {world.change, &sample, nullptr}; }

  private:
    void Fill(Choices& choices, unsigned short id, Entry& entry) {
        static const std::vector<long long> near = {0, 1, -1, 7, 15, -128, 300, 4294967295, -256};
        static const std::vector<std::string> texts = {"", "7", "abc", "Int8", "false", "\xff"};
        const unsigned count = choices.Below(4);
        int type = UnknownType;
        ForNatives([&](auto native) {
            using Native = decltype(native);
            if (++type != entry.type) {
                return;
            }
            if constexpr (std::is_same_v<Native, std::string>) {
                native = texts[choices.Below(static_cast<unsigned>(texts.size()))];
                sample.Set(id, native);
                entry.elements.assign(native.size(), native);
            } else {
                sample.Resize(id, count);
                for (unsigned i = 0; i < count; ++i) {
                    native = static_cast<Native>(
                        near[choices.Below(static_cast<unsigned>(near.size()))]);
                    if constexpr (std::is_floating_point_v<Native>) {
                        native /= 2;
                    }
                    sample.Set(id, i, native);
                    entry.elements.emplace_back(native);
                }
            }
        });
    }
};

}  // namespace velmora::test::rules
