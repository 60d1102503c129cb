// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_check.h"

#include "support/random.h"
#include "support/random_rules.h"
#include "support/rules.h"
#include "support/samples.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace test;

using Strings = std::vector<std::string>;

std::string KindName(RuleFinding::Kind kind) {
    static const Strings names = {
        "missing entry", "unknown property", "unknown function", "literal", "missing operand",
        "throws",        "uncompared value", "uncompared entry", "index",   "never holds"};
    return names.at(kind);
}

// The type of all examples below.
struct ExampleType : TestType {
    ExampleType()
        : TestType({{"x", Int8, 1},
                    {"v", UInt16, 3},
                    {"f", Double, 1},
                    {"s", String, 0},
                    {"b", Bool, 1},
                    {"none", Int32, 0},
                    {"t", String, 2},
                    {"temperature", Double, 1}}) {
        type.Add("odd", static_cast<BaseType>(13), 1).Add("tank 1", Double, 1);
    }
};

// Each finding as its kind and the part of the rule that it is about.
Strings PlacesOf(const std::string& rule, const StreamType& type) {
    Strings places;
    for (const RuleFinding& finding : CheckRule(rule, type)) {
        places.push_back(KindName(finding.kind) + ": " +
                         rule.substr(finding.span.offset, finding.span.length));
    }
    return places;
}

TEST(RuleCheck, FindsNothingInSoundRules) {
    const ExampleType example;
    for (const std::string rule :
         {"x == 127 && x != -128 && x < 1.5 && v[2:7] >= 65535 && s != \"\" && b != false",
          "s == 5 && s.size > 2 && s.type == \"String\" && x == \"7\" && x.exists == false",
          "x == 0x1f && f >= +3 && v[1:2] != \"12\" && v.back < 7 && v[:1] == 1 || s.size != 5",
          "pushed() && popped() != true && !changed() || true() ^^ false()",
          "b[0] && b.front && x.exists && !b[:] && b[0:]", "none != 9 && none[2] > 1",
          "s[5] == \"a\" && s.front == \"\" && s[0] > \"\"", "x < 127 && x > -128 && x >= -128",
          "b > false && b < true && b >= true", "f < -1.7e308 || f > 1.7e308",
          // The size is tested before an element is read.
          "none.size > 0 && none.front == 9", "none.size == 0 || none.back == 9",
          "!(none.size == 0) && (x == 1 || none.front == 9)",
          "x == 1 && none.size != 0 && x == 2 && none.front == 9", "none.size >= 3 && none[2] == 1",
          // A text gets its size when it is set.
          "t[5] == \"abcdef\" && t > \"\""}) {
        EXPECT_EQ(PlacesOf(rule, example.type), Strings()) << rule;
    }
}

TEST(RuleCheck, FindsMistakesAndTheirPositions) {
    const ExampleType example;
    const struct {
        std::string rule;
        Strings places;
    } cases[] = {
        {"X == 1", {"missing entry: X"}},
        {"x == 1 || (y)", {"missing entry: y"}},
        {"!(y.exists == true) ^^ X == 1 || y[2] < 300", {"missing entry: y", "missing entry: X"}},
        {"y . size > 1 && x == 300", {"missing entry: y", "literal: 300"}},
        {"Pushed ( ) == true", {"unknown function: Pushed ( )"}},
        {"x != 128", {"literal: 128"}},
        {"x.front == -128.0", {"literal: -128.0"}},
        {"v[9] < -1", {"index: [9]", "literal: -1"}},
        {"s.size >= \"many\"", {"literal: \"many\""}},
        // Operands.
        {"", {"missing operand: "}},
        {" ( ) ", {"missing operand:  ( ) "}},
        {"x > 1 && () ^^ b[0]", {"missing operand: &&"}},
        {"x > 1 && && b[0]", {"missing operand: &&"}},
        {"^^", {"missing operand: ^^", "missing operand: ^^"}},
        // Values that are not compared.
        {"!x . front", {"uncompared value: x . front"}},
        {"s.size ^^ x.type", {"uncompared value: s.size", "uncompared value: x.type"}},
        {"(x)", {"uncompared entry: x"}},
        {"b[0] && !b", {"uncompared entry: b"}},
        // Terms that throw for a new sample.
        {"v[1:2] || b[0]", {"throws: v[1:2]"}},
        {"x[1]", {"throws: x[1]"}},
        {"s[0]", {"throws: s[0]"}},
        {"v[2:1]", {"throws: v[2:1]"}},
        {"y[0]", {"missing entry: y", "throws: y[0]"}},
        {"y.size", {"missing entry: y", "throws: y.size"}},
        {"x.length", {"throws: x.length", "unknown property: length"}},
        {"odd[0]", {"throws: odd[0]"}},
        {"none . back", {"throws: none . back"}},
        // What is to the left does not ask for the size, or asks in vain.
        {"none.size > 0 || none.front > 5", {"throws: none.front"}},
        {"none.size < 5 && none.front > 5", {"throws: none.front"}},
        {"s.size > 0 && none.front > 5", {"throws: none.front"}},
        {"none.exists == true && none.front > 5", {"throws: none.front"}},
        {"none.front < -2147483648", {"throws: none.front"}},
        {"none.front > 5 && none.size > 0", {"throws: none.front"}},
        {"none.size > 0 ^^ none.front > 5", {"throws: none.front"}},
        {"none.size == 0 ^^ none.front > 5", {"throws: none.front"}},
        {"(none.size > 0 && x == 1) || none.front > 5", {"throws: none.front"}},
        // Comparisons that never hold.
        {"temperature [ 3 ] > 5", {"index: [ 3 ]"}},
        {"x.type == \"Int16\" || odd.type == \"Unknown\"", {"never holds: x.type == \"Int16\""}},
        {"x > 127 && x < -128.5", {"never holds: x > 127", "literal: -128.5"}},
        {"x.size<0", {"never holds: x.size<0"}},
        {"s == \"\" || s[0] < \"\"", {"never holds: s == \"\"", "never holds: s[0] < \"\""}},
    };
    for (const auto& [rule, places] : cases) {
        EXPECT_EQ(PlacesOf(rule, example.type), places) << rule;
    }
    EXPECT_THROW(CheckRule("x ==", example.type), RuleSyntaxException);
}

TEST(RuleCheck, SuggestsAnEntryOfASimilarName) {
    const ExampleType example;
    const std::pair<std::string, std::string> cases[] = {{"temprature", "temperature"},
                                                         {"TEMPERATURE", "temperature"},
                                                         {"tempreature", "temperature"},
                                                         {"tempearture_", "temperature"},
                                                         {"noen", "none"},
                                                         {"mone", "none"},
                                                         {"moen", ""},
                                                         {"humidity", ""},
                                                         {"y", ""},
                                                         {"X", "x"},
                                                         {"tank_1", ""}};
    for (const auto& [name, suggestion] : cases) {
        const RuleFinding finding = CheckRule(name + " > 5", example.type).at(0);
        EXPECT_EQ(finding.name, name);
        EXPECT_EQ(finding.message, "The stream type has no entry '" + name + "'");
        EXPECT_EQ(finding.hint, suggestion.empty() ? "" : "did you mean '" + suggestion + "'?");
    }
}

TEST(RuleCheck, ExplainsFindingsAndSuggestsCorrections) {
    const ExampleType example;
    const struct {
        std::string rule, name, message, hint;
    } cases[] = {
        {"!pushed", "pushed", "The stream type has no entry 'pushed'", "did you mean 'pushed()'?"},
        {"s.length > 3", "length", "There is no property 'length': 's.length' has no value",
         "did you mean 'size'?"},
        {"s.Sise > 3", "Sise", "There is no property 'Sise': 's.Sise' has no value",
         "did you mean 'size'?"},
        {"poped()", "poped", "There is no function 'poped': 'poped()' is always false",
         "did you mean 'popped'?"},
        {"b()", "b", "There is no function 'b': 'b()' is always false",
         "'b' is an entry: write it without parentheses"},
        {"x == 300", "300",
         "The literal '300' does not convert to Int8: the comparison never holds",
         "Int8 holds -128 to 127"},
        {"x == -128.0", "-128.0",
         "The literal '-128.0' does not convert to Int8: the comparison never holds",
         "write the number without a fraction"},
        {"f == \"hot\"", "\"hot\"",
         "The literal '\"hot\"' does not convert to Double: the comparison never holds", ""},
        {"b[0] &&", "&&", "The operator '&&' has no right operand: evaluation throws", ""},
        {"|| b[0]", "||", "The operator '||' has no left operand: evaluation throws", ""},
        {"!", "!", "The operator '!' has no operand: evaluation throws", ""},
        {"", "", "The rule is empty: evaluation throws", ""},
        {"x[0]", "x", "'x[0]' is not compared: it is true unless it is 0", "write 'x[0] != 0'"},
        {"s.front", "s",
         "'s.front' is not compared: it is true unless it is empty, \"0\" or \"false\"",
         "compare it with a text, as in 's.front == \"text\"'"},
        {"x", "x", "'x' is true because the entry exists, whatever its value",
         "write 'x != 0', or 'x.exists' if this is meant"},
        {"b", "b", "'b' is true because the entry exists, whatever its value",
         "write 'b == true', or 'b.exists' if this is meant"},
        {"s", "s", "'s' is true because the entry exists, whatever its value",
         "write 's.size > 0', or 's.exists' if this is meant"},
        {"v[:]", "v", "'v[:]' is several elements, which are not compared: evaluation throws",
         "write 'v[:] != 0'"},
        {"none[0]", "none", "'none[0]' has no value in a new sample: evaluation throws", ""},
        {"none.back == 1", "none",
         "'none.back' needs an element, which a new sample does not have: evaluation throws",
         "test the size first, as in 'none.size > 0 && ...'"},
        {"v[3] > 5", "v", "'v' has 3 elements in a new sample: 'v[3]' has no value",
         "the last element is 'v[2]'"},
        {"x.type == 7", "x", "The type of 'x' is \"Int8\": the comparison never holds", ""},
        {"v < 0", "v", "No UInt16 is less: the comparison never holds", ""},
        {"b > true", "b", "No Bool is greater: the comparison never holds", ""},
        {"s == \"\"", "s", "An entry without characters has no value: the comparison never holds",
         "write 's.size == 0'"},
        {"v[2:1] == 1", "v", "The first index is greater than the last: the comparison never holds",
         ""},
    };
    for (const auto& each : cases) {
        const std::vector<RuleFinding> findings = CheckRule(each.rule, example.type);
        ASSERT_EQ(findings.size(), 1U) << each.rule;
        EXPECT_EQ(findings[0].name, each.name) << each.rule;
        EXPECT_EQ(findings[0].message, each.message) << each.rule;
        EXPECT_EQ(findings[0].hint, each.hint) << each.rule;
    }
}

// A type with some of the entries that random rules name, of few elements.
void AddRandomEntries(Choices& choices, StreamType& type) {
    for (const std::string name : {"a", "b", "c"}) {
        if (choices.Below(5) != 0) {
            type.Add(name, static_cast<BaseType>(1 + choices.Below(12)), choices.Below(4));
        }
    }
}

// Values near those of the literals of random rules, without a change of sizes.
void SetRandomValues(Choices& choices, Sample& sample) {
    const StreamType& type = *sample.GetStreamType();
    for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
        if (type.GetType(id) == String) {
            sample.Set(id, std::string(sample.GetSize(id), "a7"[choices.Below(2)]));
            continue;
        }
        for (unsigned int i = 0; i < sample.GetSize(id); ++i) {
            const Strings values = {"0", "1", "7", "100"};
            sample.Set(id, i, values[choices.Below(4)]);
        }
    }
}

std::string Evaluate(const std::string& rule, SubscriptionArgs& args) {
    return OutcomeOf([&] { return ExpressionRule(rule).Applies(args); });
}

bool Throws(const std::string& outcome) {
    return outcome != "true" && outcome != "false";
}

TEST(RuleCheck, FindsAllThatThrowsForANewSampleAndNothingElseDoes) {
    Random random;
    int throwing = 0;
    int silent = 0;
    for (int round = 0; round < 4000; ++round) {
        TestType layout({});
        AddRandomEntries(random, layout.type);
        Sample sample(&layout.type, Poco::Timestamp());
        SetRandomValues(random, sample);
        SubscriptionArgs args{static_cast<StreamChangeType>(random.Below(3)), &sample, nullptr};
        const std::string rule = RuleMaker(random).Expression(0, true).text;
        const std::vector<RuleFinding> findings = CheckRule(rule, layout.type);
        bool canThrow = false;
        for (const RuleFinding& finding : findings) {
            const std::string part = rule.substr(finding.span.offset, finding.span.length);
            canThrow = canThrow || finding.CanThrow();
            if (finding.CanThrow()) {
                ASSERT_TRUE(Throws(Evaluate(part, args))) << part << " in " << rule;
                ++throwing;
            } else if (finding.kind == RuleFinding::neverHolds) {
                ASSERT_NE(Evaluate(part, args), "true") << part << " in " << rule;
                ++silent;
            }
        }
        if (!canThrow) {
            ASSERT_FALSE(Throws(Evaluate(rule, args))) << rule;
        }
    }
    EXPECT_TRUE(throwing > 500 && silent > 50) << throwing << " " << silent;
}

std::string Repeat(const std::string& text, int count) {
    std::string repeated;
    for (int i = 0; i < count; ++i) {
        repeated += text;
    }
    return repeated;
}

TEST(RuleCheck, ReportsEachMissingEntryOnceInLongChains) {
    const ExampleType example;
    EXPECT_EQ(PlacesOf(Repeat("y == 1 && ", 20000) + "z == 1", example.type),
              (Strings{"missing entry: y", "missing entry: z"}));
    EXPECT_EQ(CheckRule(Repeat("y[0] && ", 20000) + "x > 1", example.type).size(), 20001U);
    EXPECT_EQ(PlacesOf(Repeat("(", 1000) + "x == 300" + Repeat(")", 1000), example.type),
              Strings{"literal: 300"});
}

TEST(RuleCheck, ComparesABoundedNumberOfNamesForSuggestions) {
    TestType layout({});
    for (int i = 0; i < 50000; ++i) {
        layout.type.Add("entry" + std::to_string(i), Bool, 1);
    }
    std::string rule = "false()";
    for (int i = 0; i < 10; ++i) {
        rule += " || entri" + std::to_string(i) + " == true";
    }
    const std::vector<RuleFinding> findings = CheckRule(rule, layout.type);
    ASSERT_EQ(findings.size(), 10U);
    EXPECT_EQ(findings.front().hint, "did you mean 'entry0'?");
    EXPECT_EQ(findings.back().hint, "");
}

TEST(DescribeRule, WritesTheTreeInSpaceProportionalToTheText) {
    EXPECT_EQ(DescribeRule("a == 1 && !b"), "&&\n ==\n  index: a[0:-1]\n  1\n !\n  exists: b\n");
    std::string chain = "(a)";
    for (int i = 0; i < 5000; ++i) {
        chain += "&&(a)";
    }
    const std::string described = DescribeRule(chain);
    EXPECT_LT(described.size(), 20 * chain.size());
    EXPECT_TRUE(described.starts_with("&&\n &&\n  &&\n"));
    EXPECT_EQ(std::count(described.begin(), described.end(), '\n'), 2 * 5000 + 1);
    EXPECT_EQ(DescribeRule(std::string(100, '(') + "a" + std::string(100, ')')), "exists: a\n");
}

}  // namespace
}  // namespace velmora::core::tessaryn
