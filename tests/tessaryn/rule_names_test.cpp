// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_names.h"

#include "tessaryn/rule_check.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/stream_type.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

TEST(RuleNames, AreThoseThatTheParserAcceptsAsBareNames) {
    // Every text of one character, and of a letter and one character.
    for (const std::string begin : {"", "a"}) {
        for (int code = 1; code < 256; ++code) {
            const std::string text = begin + static_cast<char>(code);
            std::string tree;
            try {
                tree = DescribeRule(text);
            } catch (const RuleSyntaxException&) {
            }
            EXPECT_EQ(IsRuleName(text), tree == "exists: " + text + "\n") << text;
        }
    }
    EXPECT_FALSE(IsRuleName(""));
}

TEST(RuleNames, AreMissingForEntriesWithOtherCharacters) {
    StreamType type;
    type.Add("x", Int8, 1).Add("tank 1", Int8, 1).Add("_x9", Int8, 1).Add("9x", Int8, 1);
    EXPECT_EQ(FindEntriesWithoutRuleName(type), (std::vector<std::string>{"tank 1", "9x"}));
}

}  // namespace
}  // namespace velmora::core::tessaryn
