// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Random rules on random samples, against a second evaluator. Each rule is made as a text together
// with its meaning, the samples together with plain lists of values; only the conversions between
// values are POCO's on both sides, for they define the language.

#include "support/random.h"
#include "support/rules.h"
#include "support/samples.h"
#include "tessaryn/sample.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using Poco::Dynamic::Var;
using test::OutcomeOf;
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
};

struct Rule {
    std::string text;
    std::function<Var(const World&)> value = [](const World&) { return Var(); };

    bool Holds(const World& world) const { return value(world).convert<bool>(); }
};

bool CompareElement(unsigned comparison, const Var& value, const Var& literal) {
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

bool Compare(unsigned comparison, const Var& value, const Var& literal) {
    if (value.type() != typeid(Vars))
        return CompareElement(comparison, value, literal);
    for (const Var& element : value.extract<Vars>()) {
        if (!CompareElement(comparison, element, literal))
            return false;
    }
    return true;
}

Var Property(const Entry& entry, const std::string& property) {
    if (property == "type")
        return ToString(entry.type);
    if (property == "size")
        return static_cast<unsigned>(entry.elements.size());
    if (property == "other")
        return {};
    if (!entry.elements.empty())
        return property == "front" ? entry.elements.front() : entry.elements.back();
    return entry.type == String ? Var(std::string())
                                : throw std::out_of_range("Index out of range.");
}

Var Index(const Vars& elements, int from, int to) {
    const int size = static_cast<int>(elements.size());
    from = from < 0 ? 0 : from;
    to = to < 0 || to >= size ? size - 1 : to;
    if (from > to)
        return {};
    return from == to ? elements[static_cast<std::size_t>(from)]
                      : Var(Vars(elements.begin() + from, elements.begin() + to + 1));
}

/// Makes rules in all shapes that the grammar has.
class RuleMaker {
  public:
    explicit RuleMaker(test::Random& source) : random(source) {}

    /// \param atEnd whether a bare name may come last
    Rule Expression(unsigned level, bool atEnd) {
        static const std::vector<std::string> operators = {"^^", "||", "&&"};
        if (level == operators.size())
            return Relation(atEnd);
        const unsigned count = Chance(3) ? 2 + random.Below(2) : 1;
        Rule rule = Expression(level + 1, atEnd && count == 1);
        for (unsigned i = 1; i < count; ++i) {
            const Rule left = rule;
            const Rule right = Expression(level + 1, atEnd && i + 1 == count);
            rule.text = left.text + Blank() + operators[level] + Blank() + right.text;
            rule.value = [level, left, right](const World& world) -> Var {
                if (level > 0)
                    return left.Holds(world) == (level == 1) ? level == 1 : right.Holds(world);
                const Var last = right.value(world);
                const bool first = left.Holds(world);
                return first != last.convert<bool>();
            };
        }
        return rule;
    }

  private:
    bool Chance(unsigned of) { return random.Below(of) == 0; }
    std::string Blank() { return Chance(3) ? "" : " "; }
    std::string Pick(const std::vector<std::string>& from) {
        return from[random.Below(static_cast<unsigned>(from.size()))];
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
        if (!Chance(5))
            return rule;
        return {"!" + rule.text, [rule](const World& world) { return !rule.Holds(world); }};
    }

    Rule Leaf(bool atEnd) {
        const std::string name = Pick({"a", "b", "c", "nosuch"});
        const auto exists = [name](const World& world) { return world.entries.count(name) == 1; };
        const unsigned kind = random.Below(atEnd ? 5 : 4);
        Rule leaf;
        if (kind == 0) {
            const std::string function = Pick({"pushed", "popped", "changed", "true", "other"});
            leaf = {function + "()", [function](const World& world) {
                        return function == "true" ||
                               (function == "pushed" && world.change == pushed) ||
                               (function == "popped" && world.change == popped) ||
                               (function == "changed" && world.change == changed);
                    }};
        } else if (kind == 1) {
            const std::string property = Pick({"type", "size", "exists", "front", "back", "other"});
            leaf = {name + Blank() + "." + property, [=](const World& world) -> Var {
                        if (property == "exists")
                            return exists(world);
                        return exists(world) ? Property(world.entries.at(name), property) : Var();
                    }};
        } else if (kind == 4) {
            return {name, exists};
        } else {
            const int from = static_cast<int>(random.Below(5)) - 1;
            const int to = static_cast<int>(random.Below(6)) - 1;
            const unsigned form = kind == 2 ? 0 : 1 + random.Below(4);
            const std::string first = form < 3 ? "[" + std::to_string(from) : "[ ";
            const std::string last = form % 2 == 0 ? std::to_string(to) + "]" : " ]";
            leaf.text = name + (form == 0 ? "" : form == 1 ? first + "]" : first + ":" + last);
            leaf.value = [=](const World& world) {
                return !exists(world) ? Var()
                                      : Index(world.entries.at(name).elements,
                                              form == 1 || form == 2 ? from : 0,
                                              form == 1                ? from
                                              : form == 2 || form == 4 ? to
                                                                       : -1);
            };
        }
        return kind == 2 || !Chance(4) ? Comparison(leaf) : leaf;
    }

    Rule Comparison(const Rule& left) {
        static const std::vector<std::string> comparisons = {"<", "<=", ">", ">=", "==", "!="};
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
        const unsigned comparison = random.Below(6);
        return {left.text + Blank() + comparisons[comparison] + Blank() + text,
                [=](const World& world) {
                    try {
                        return Compare(comparison, left.value(world), literal);
                    } catch (const Poco::Exception&) {
                        return false;
                    }
                }};
    }

    test::Random& random;
    int depth = 0;
};

/// Gives the sample and the model the same entry, with values near those of the literals.
void Fill(test::Random& random, Sample& sample, unsigned short id, Entry& entry) {
    static const std::vector<long long> near = {0, 1, -1, 7, 15, -128, 300, 4294967295, -256};
    static const std::vector<std::string> texts = {"", "7", "abc", "Int8", "false", "\xff"};
    const unsigned count = random.Below(4);
    int type = UnknownType;
    ForNatives([&](auto native) {
        using Native = decltype(native);
        if (++type != entry.type)
            return;
        if constexpr (std::is_same_v<Native, std::string>) {
            native = texts[random.Below(static_cast<unsigned>(texts.size()))];
            sample.Set(id, native);
            entry.elements.assign(native.size(), native);
        } else {
            sample.Resize(id, count);
            for (unsigned i = 0; i < count; ++i) {
                native =
                    static_cast<Native>(near[random.Below(static_cast<unsigned>(near.size()))]);
                if constexpr (std::is_floating_point_v<Native>)
                    native /= 2;
                sample.Set(id, i, native);
                entry.elements.emplace_back(native);
            }
        }
    });
}

TEST(RuleModel, RandomRulesAnswerAsASecondEvaluatorDoes) {
    test::Random random;
    std::map<std::string, int> outcomes;
    for (int round = 0; round < 6000; ++round) {
        const Rule rule = RuleMaker(random).Expression(0, true);
        World world;
        world.change = static_cast<StreamChangeType>(random.Below(3));
        test::TestType type({});
        for (const std::string name : {"a", "b", "c"}) {
            const auto valueType = static_cast<BaseType>(1 + random.Below(12));
            if (random.Below(5) == 0)
                continue;
            type.type.Add(name, valueType, 1);
            world.entries[name].type = valueType;
        }
        Sample sample(&type.type, Poco::Timestamp());
        for (auto& [name, entry] : world.entries)
            Fill(random, sample, sample.EntryId(name), entry);
        SubscriptionArgs args{world.change, &sample, nullptr};
        const std::string expected = OutcomeOf([&] { return rule.Holds(world); });
        const std::string where = rule.text + "\n" + test::BinaryOf(sample);
        const ExpressionRule planned(rule.text);
        ASSERT_EQ(OutcomeOf([&] { return planned.Applies(args); }), expected) << where;
        const std::shared_ptr<RLExpr> tree = test::Parse(rule.text);
        const auto ofTree = [&] { return valueOf(tree.get(), args).convert<bool>(); };
        ASSERT_EQ(OutcomeOf(ofTree), expected) << where;
        ++outcomes[expected];
    }
    // Rules that all fail, or all hold, would show nothing.
    EXPECT_TRUE(outcomes["true"] > 500 && outcomes["false"] > 500 && outcomes.size() == 5U);
}

}  // namespace
}  // namespace velmora::core::tessaryn
