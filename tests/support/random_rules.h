// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "support/choices.h"
#include "support/samples.h"
#include "tessaryn/sample.h"
#include "tessaryn/subscription_args.h"
#include "tessaryn/visit_type.h"

#include <string>
#include <type_traits>
#include <vector>

namespace velmora::test {

inline const std::vector<std::string> joins = {"^^", "||", "&&"};
inline const std::vector<std::string> comparisons = {"<", "<=", ">", ">=", "==", "!="};

/// A rule, and the same with all parentheses and indexes that may be left out.
struct RandomRule {
    std::string text;
    std::string full;
};

/// Makes rules of all forms that the grammar has.
class RuleMaker {
  public:
    explicit RuleMaker(Choices& source) : choices(source) {}

    /// \param level index of the loosest join
    /// \param atEnd whether a bare name may come last
    RandomRule Expression(unsigned level, bool atEnd) {
        if (level == joins.size()) {
            return Relation(atEnd);
        }
        const unsigned count = Chance(3) ? 2 + choices.Below(2) : 1;
        RandomRule rule = Expression(level + 1, atEnd && count == 1);
        for (unsigned i = 1; i < count; ++i) {
            const RandomRule right = Expression(level + 1, atEnd && i + 1 == count);
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

    RandomRule Relation(bool atEnd) {
        RandomRule rule;
        if (depth < 4 && Chance(4)) {
            ++depth;
            rule = Expression(0, true);
            rule = {"(" + Blank() + rule.text + Blank() + ")", rule.full};
            --depth;
        } else if (!Chance(30)) {
            rule = Leaf(atEnd);
        }
        return Chance(5) ? RandomRule{"!" + rule.text, "!(" + rule.full + ")"} : rule;
    }

    RandomRule Leaf(bool atEnd) {
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
            const RandomRule indexes[] = {{"", "[0:-1]"},
                                          {"[" + from + "]", "[" + from + ":" + from + "]"},
                                          {"[" + from + ": ]", "[" + from + ":-1]"},
                                          {"[ :" + to + "]", "[0:" + to + "]"},
                                          {"[:]", "[0:-1]"}};
            const RandomRule& index = indexes[kind == 2 ? 0 : 1 + choices.Below(4)];
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

/// A sample with some of the entries a, b and c, whose values are near those of the literals.
class RandomSample {
  public:
    explicit RandomSample(Choices& choices)
        : change(static_cast<core::tessaryn::StreamChangeType>(choices.Below(3))) {
        for (const std::string name : {"a", "b", "c"}) {
            const auto type = static_cast<core::tessaryn::BaseType>(1 + choices.Below(12));
            if (choices.Below(5) != 0) {
                layout.type.Add(name, type, 1);
            }
        }
        sample = core::tessaryn::Sample(&layout.type, Poco::Timestamp());
        for (unsigned short id = 0; id < layout.type.GetNumEntries(); ++id) {
            Fill(choices, id);
        }
    }

    core::tessaryn::StreamChangeType change;
    TestType layout{std::initializer_list<core::tessaryn::SampleEntry>{}};
    core::tessaryn::Sample sample;
    core::tessaryn::SubscriptionArgs Args() { return {change, &sample, nullptr}; }

  private:
    void Fill(Choices& choices, unsigned short id) {
        static const std::vector<long long> numbers = {0,    1,   -1,         7,   15,
                                                       -128, 300, 4294967295, -256};
        static const std::vector<std::string> texts = {"", "7", "abc", "Int8", "false", "\xff"};
        const auto pick = [&](const auto& from) {
            return from[choices.Below(static_cast<unsigned>(from.size()))];
        };
        const auto fill = [&]<class Native>(std::type_identity<Native> /*type*/) {
            if constexpr (std::is_same_v<Native, std::string>) {
                sample.Set(id, pick(texts));
            } else if constexpr (!std::is_void_v<Native>) {
                const unsigned count = choices.Below(4);
                sample.Resize(id, count);
                for (unsigned i = 0; i < count; ++i) {
                    auto value = static_cast<Native>(pick(numbers));
                    if constexpr (std::is_floating_point_v<Native>) {
                        value /= 2;
                    }
                    sample.Set(id, i, value);
                }
            }
        };
        VisitType(layout.type.GetType(id), fill);
    }
};

}  // namespace velmora::test
