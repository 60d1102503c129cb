// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

// A second evaluator of rules. Each rule is a text together with its meaning, each sample stands
// beside plain lists of values; only the conversions between values are POCO's on both sides, for
// they define the language.

#include "support/choices.h"
#include "support/samples.h"
#include "tessaryn/sample.h"
#include "tessaryn/subscription_args.h"

#include <Poco/Dynamic/Var.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
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

struct Rule {
    std::string text;
    std::function<Var(const World&)> value = [](const World&) { return Var(); };

    bool Holds(const World& world) const { return value(world).convert<bool>(); }
};

inline const std::vector<std::string> joins = {"^^", "||", "&&"};
inline const std::vector<std::string> comparisons = {"<", "<=", ">", ">=", "==", "!="};

inline bool CompareElement(unsigned comparison, const Var& value, const Var& literal) {
    bool holds = false;
    ForNatives([&](auto native) {
        using Native = decltype(native);
        // A literal never is a character.
        using Converted = std::conditional_t<std::is_same_v<Native, char>, Poco::Int8, Native>;
        if (value.type() != typeid(Native))
            return;
        const auto left = static_cast<Converted>(value.extract<Native>());
        const auto right = literal.convert<Converted>();
        const bool less = left < right;
        const bool same = left == right;
        holds =
            std::vector<bool>{less, less || same, !less && !same, !less, same, !same}[comparison];
    });
    return holds;
}

/// \name Rules and their meaning
/// The text is the caller's business. Operands are shared, for functions are copied with all that
/// they hold.
///@{
inline std::shared_ptr<const Rule> Shared(const Rule& rule) {
    return std::make_shared<const Rule>(rule);
}

inline Rule Not(const Rule& rule) {
    return {"!" + rule.text,
            [operand = Shared(rule)](const World& world) { return !operand->Holds(world); }};
}

inline Rule Join(const Rule& left, std::size_t join, const Rule& right, const std::string& text) {
    return {text, [join, a = Shared(left), b = Shared(right)](const World& world) -> Var {
                if (join > 0)
                    return a->Holds(world) == (join == 1) ? join == 1 : b->Holds(world);
                const Var last = b->value(world);
                const bool first = a->Holds(world);
                return first != last.convert<bool>();
            }};
}

inline Rule Comparison(const Rule& left, unsigned comparison, const Var& literal,
                       const std::string& text) {
    return {text, [=, operand = Shared(left)](const World& world) {
                try {
                    const Var value = operand->value(world);
                    const auto compare = [&](const Var& element) {
                        return CompareElement(comparison, element, literal);
                    };
                    if (value.type() != typeid(Vars))
                        return compare(value);
                    const auto& elements = value.extract<Vars>();
                    return std::all_of(elements.begin(), elements.end(), compare);
                } catch (const Poco::Exception&) {
                    return false;
                }
            }};
}

inline Rule Exists(const std::string& name) {
    return {name, [name](const World& world) { return world.Find(name) != nullptr; }};
}

inline Rule Function(const std::string& name) {
    return {name + "()", [name](const World& world) {
                return name == "true" || (name == "pushed" && world.change == pushed) ||
                       (name == "popped" && world.change == popped) ||
                       (name == "changed" && world.change == changed);
            }};
}

inline Rule Property(const std::string& name, const std::string& property,
                     const std::string& text) {
    return {text, [=](const World& world) -> Var {
                const Entry* const entry = world.Find(name);
                if (property == "exists")
                    return entry != nullptr;
                if (entry == nullptr || (property != "type" && property != "size" &&
                                         property != "front" && property != "back"))
                    return {};
                if (property == "type")
                    return ToString(entry->type);
                if (property == "size")
                    return static_cast<unsigned>(entry->elements.size());
                if (!entry->elements.empty())
                    return property == "front" ? entry->elements.front() : entry->elements.back();
                return entry->type == String ? Var(std::string())
                                             : throw std::out_of_range("Index out of range.");
            }};
}

inline Rule Index(const std::string& name, int first, int last, const std::string& text) {
    return {text, [=](const World& world) -> Var {
                const Entry* const entry = world.Find(name);
                if (entry == nullptr)
                    return {};
                const Vars& elements = entry->elements;
                const int size = static_cast<int>(elements.size());
                const int from = first < 0 ? 0 : first;
                const int to = last < 0 || last >= size ? size - 1 : last;
                if (from > to)
                    return {};
                return from == to ? elements[static_cast<std::size_t>(from)]
                                  : Var(Vars(elements.begin() + from, elements.begin() + to + 1));
            }};
}
///@}

/// Makes rules in all shapes that the grammar has.
class RuleMaker {
  public:
    explicit RuleMaker(Choices& source) : choices(source) {}

    /// \param level index of the loosest join
    /// \param atEnd whether a bare name may come last
    Rule Expression(unsigned level, bool atEnd) {
        if (level == joins.size())
            return Relation(atEnd);
        const unsigned count = Chance(3) ? 2 + choices.Below(2) : 1;
        Rule rule = Expression(level + 1, atEnd && count == 1);
        for (unsigned i = 1; i < count; ++i) {
            const Rule right = Expression(level + 1, atEnd && i + 1 == count);
            rule =
                Join(rule, level, right, rule.text + Blank() + joins[level] + Blank() + right.text);
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
            rule.text = "(" + Blank() + rule.text + Blank() + ")";
            --depth;
        } else if (!Chance(30)) {
            rule = Leaf(atEnd);
        }
        return Chance(5) ? Not(rule) : rule;
    }

    Rule Leaf(bool atEnd) {
        const std::string name = Pick({"a", "b", "c", "nosuch"});
        const unsigned kind = choices.Below(atEnd ? 5 : 4);
        Rule leaf;
        if (kind == 0) {
            leaf = Function(Pick({"pushed", "popped", "changed", "true", "other"}));
        } else if (kind == 1) {
            const std::string property = Pick({"type", "size", "exists", "front", "back", "other"});
            leaf = Property(name, property, name + Blank() + "." + property);
        } else if (kind == 4) {
            return Exists(name);
        } else {
            const int from = static_cast<int>(choices.Below(5)) - 1;
            const int to = static_cast<int>(choices.Below(6)) - 1;
            const unsigned form = kind == 2 ? 0 : 1 + choices.Below(4);
            const std::string first = form < 3 ? "[" + std::to_string(from) : "[ ";
            const std::string last = form % 2 == 0 ? std::to_string(to) + "]" : " ]";
            leaf = Index(name, form == 1 || form == 2 ? from : 0,
                         form == 1                ? from
                         : form == 2 || form == 4 ? to
                                                  : -1,
                         name + (form == 0   ? ""
                                 : form == 1 ? first + "]"
                                             : first + ":" + last));
        }
        return kind == 2 || !Chance(4) ? WithComparison(leaf) : leaf;
    }

    Rule WithComparison(const Rule& left) {
        std::string text = Pick({"0", "1", "-1", "7", "-128", "300", "4294967295", "7.5", "-128.0",
                                 "1e300", "true", "false", "'7'", "''", "'abc'", "'Int8'", "'t'"});
        Var literal;
        if (text.front() == '\'')
            literal = text.substr(1, text.size() - 2);
        else if (text == "true" || text == "false")
            literal = text == "true";
        else if (text.find_first_of(".e") != std::string::npos)
            literal = std::stod(text);
        else
            literal = Poco::Int64(std::stoll(text));
        std::replace(text.begin(), text.end(), '\'', '"');
        const unsigned comparison = choices.Below(6);
        return Comparison(left, comparison, literal,
                          left.text + Blank() + comparisons[comparison] + Blank() + text);
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
            if (choices.Below(5) == 0)
                continue;
            layout.type.Add(name, valueType, 1);
            world.entries[name].type = valueType;
        }
        sample = Sample(&layout.type, Poco::Timestamp());
        for (auto& [name, entry] : world.entries)
            Fill(choices, sample.EntryId(name), entry);
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
            if (++type != entry.type)
                return;
            if constexpr (std::is_same_v<Native, std::string>) {
                native = texts[choices.Below(static_cast<unsigned>(texts.size()))];
                sample.Set(id, native);
                entry.elements.assign(native.size(), native);
            } else {
                sample.Resize(id, count);
                for (unsigned i = 0; i < count; ++i) {
                    native = static_cast<Native>(
                        near[choices.Below(static_cast<unsigned>(near.size()))]);
                    if constexpr (std::is_floating_point_v<Native>)
                        native /= 2;
                    sample.Set(id, i, native);
                    entry.elements.emplace_back(native);
                }
            }
        });
    }
};

}  // namespace velmora::test::rules
