// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "text/rule_excerpt.h"

#include <gtest/gtest.h>

#include <string>

namespace velmora::tool {
namespace {

TEST(RuleExcerpt, MarksThePlaceBelowTheRule) {
    const std::string many(100, '1');
    const struct {
        const char* name;
        std::string rule;
        core::tessaryn::TextSpan span;
        std::string lines;
    } cases[] = {
        {"one character", "x = 5", {2, 1}, "  x = 5\n    ^ hint\n"},
        {"several", "temprature > 8", {0, 10}, "  temprature > 8\n  ^~~~~~~~~~ hint\n"},
        {"end of the text", "x ==", {4, 0}, "  x ==\n      ^ hint\n"},
        {"empty rule", "", {0, 0}, "  \n  ^ hint\n"},
        {"escapes", "a\n\x1b = \t", {3, 1}, "  a\\n\\x1b = \\t\n         ^ hint\n"},
        {"marked escapes", "x == \x1b", {5, 1}, "  x == \\x1b\n       ^~~~ hint\n"},
        {"wide bytes before",
         "\"\u00e9\u20ac\" y",
         {8, 1},
         "  \"\u00e9\u20ac\" y\n       ^ hint\n"},
        {"within a character", "x \u20ac", {3, 1}, "  x \u20ac\n    ^ hint\n"},
        {"cut after", "x = " + many, {2, 1}, "  x = 1111111111111111111...\n    ^ hint\n"},
        {"cut before",
         many + " = 5",
         {101, 1},
         "  ..." + std::string(39, '1') + " = 5\n" + std::string(45, ' ') + "^ hint\n"},
        {"cut within",
         "x == " + many,
         {5, 100},
         "  x == " + std::string(40, '1') + "...\n       ^" + std::string(19, '~') + " hint\n"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(MarkInRule(each.rule, each.span, "hint"), each.lines) << each.name;
    }
    EXPECT_EQ(MarkInRule("x", {0, 1}, ""), "  x\n  ^\n");
    EXPECT_EQ(MarkInRule("x", {0, 1}, "\x1b"), "  x\n  ^ \\x1b\n");
}

}  // namespace
}  // namespace velmora::tool
