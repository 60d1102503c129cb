// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_check.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/stream_type.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

template <class Parse>
std::string HintOf(Parse parse) {
    try {
        parse();
    } catch (const RuleSyntaxException& error) {
        return error.GetHint();
    }
    return "no error";
}

TEST(SyntaxHint, SuggestsCorrections) {
    const std::string quotes = "write a text in double quotes";
    const std::string join = "a term has one comparison: join two comparisons with '&&'";
    const std::string noArithmetic = "a rule cannot calculate: compare an entry with a literal";
    const std::string right = "write the literal on the right, as in 'x > 5'";
    const struct {
        std::string hint;
        std::vector<std::string> texts;
    } cases[] = {
        {"write '==' instead of '='", {"x = 5", "x.size = 5", "x[0] = 5", "(x = 5)"}},
        {"write '==' instead of '==='", {"x === 5"}},
        {"write '==' instead of ':='", {"x := 5"}},
        {"write '>=' instead of '=>'", {"x => 5"}},
        {"write '<=' instead of '=<'", {"x =< 5"}},
        {"write '!=' instead of '=!'", {"x =! 5"}},
        {"write '!=' instead of '<>'", {"x <> 5"}},
        {"write '>=' without a blank", {"x > = 5"}},
        {"write '&&' instead of 'and'", {"x > 1 and y > 2", "(x > 1 and y > 2)", "a and b"}},
        {"write '&&' instead of 'AND'", {"x > 1 AND y > 2"}},
        {"write '||' instead of 'or'", {"x > 1 or y > 2"}},
        {"write '^^' instead of 'xor'", {"x > 1 xor y > 2"}},
        {"write '!' instead of 'not'", {"not x > 1", "not (x > 1)", "y() && not x > 1"}},
        {"write '&&' instead of '&'", {"x > 1 & y > 2"}},
        {"write '||' instead of '|'", {"x > 1 | y > 2"}},
        {quotes + ": \"fault\"", {"state == 'fault'", "state == `fault`"}},
        {quotes + ": \"out of order\"", {"state == 'out of order' && x > 1"}},
        {quotes, {"state == 'fault", "state == \u2018fault\u2019", "state == \u201cfault\u201d"}},
        {quotes + ": \"fault\"; two entries cannot be compared", {"state == fault"}},
        {"write 'true' instead of 'True'", {"door == True"}},
        {"write 'false' instead of 'FALSE'", {"door != FALSE"}},
        {"write '0.5' instead of '.5'", {"x > .5", "x>.5"}},
        {"write '8.25' instead of '8,25'", {"x > 8,25", "(x > 8,25)"}},
        {join, {"x > 1 < 5", "x == 1 == 2"}},
        {right, {"1 < x < 5", "5 < x", "x() && -5 < x", "(\"a\" == x)", "!5 < x"}},
        {"a group cannot be compared: compare each term in it", {"(x) == 1", "(x > 1) == true"}},
        {noArithmetic, {"x + 1 > 2", "x -1 > 2", "x * 2 > 3", "x / y > 3", "x % 2 == 0"}},
        {"a function takes no arguments", {"rising(x > 8)", "f(1)"}},
        {"compare 'door' with a literal, as in 'door == true'", {"door && x > 5", "!door || x()"}},
        {"a name has the letters a to z and A to Z, digits and '_'",
         {"temp\u00e9 > 5", "Temp (\u00b0C) > 5"}},
        {"write '!(!' and ')' for two negations", {"!!x()", "x() && ! !x()"}},
        // Nothing to suggest.
        {"",
         {"(x > 1", "x ==", "a[", "a.", "x > 1 {", "x == @", "x == \"a", "x > 1, y > 2", "a b"}},
    };
    for (const auto& [hint, texts] : cases) {
        for (const std::string& text : texts) {
            EXPECT_EQ(HintOf([&] { DescribeRule(text); }), hint) << "of: " << text;
        }
    }
}

TEST(SyntaxHint, ConsidersTheEntriesOfTheTypeThatARuleIsCheckedAgainst) {
    StreamType type;
    type.Add("state", String, 0).Add("humidity", Double, 1).Add("tank 1", Double, 1);
    const std::pair<std::string, std::string> cases[] = {
        {"state == fault", "write a text in double quotes: \"fault\""},
        {"humidity > state", "two entries cannot be compared: 'state' is an entry"},
        {"tank 1 > 5", "a rule cannot name the entry 'tank 1'"},
        {"state.size > 1 && tank 1 > 5", "a rule cannot name the entry 'tank 1'"},
        {"tank 1 > 5 && state = 1", "a rule cannot name the entry 'tank 1'"},
        {"tank 2 > 5", ""},
        {"humidity = 1 && tank 1 > 5", "write '==' instead of '='"},
    };
    for (const auto& [text, hint] : cases) {
        EXPECT_EQ(HintOf([&] { CheckRule(text, type); }), hint) << "of: " << text;
    }
}

TEST(SyntaxHint, StaysShortForLongTexts) {
    const std::string longText(100000, 'a');
    for (const std::string& text :
         {"x == " + longText, "x == '" + longText + "'", longText + " && x > 1",
          "x > ." + std::string(1000, '5'), "x > " + std::string(1000, '8') + ",5"}) {
        EXPECT_LT(HintOf([&] { DescribeRule(text); }).size(), 100U);
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
