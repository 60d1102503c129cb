// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_check.h"

#include "tessaryn/stream_type.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

std::string Literal(const std::string& literal, const std::string& type, const std::string& term) {
    return "The literal '" + literal + "' does not convert to " + type + ": the comparison '" +
           term + "' never holds";
}

TEST(RuleCheck, FindsWhatCanNeverMatch) {
    StreamType type;
    type.Add("x", Int8, 1).Add("v", UInt16, 3).Add("s", String, 0).Add("b", Bool, 1);
    type.Add("d", Double, 1);
    const std::string missing = "The stream type has no entry '";
    const struct {
        std::string text;
        std::vector<std::string> messages;
    } cases[] = {
        {"", {}},
        {"x == 127 && x != -128 && x < 1.5 && v[2:7] >= 65535 && s == \"\" && b != false", {}},
        {"s == 5 && s.size > 2 && s.type == \"String\" && d > 1e300 && x == \"7\"", {}},
        {"x.exists == false && pushed() && popped() != true && !changed() || true() ^^ false()",
         {}},
        {"x == 128", {Literal("128", "Int8", "== 128")}},
        {"x != 128", {Literal("128", "Int8", "!= 128")}},
        {"x.front == -128.0", {Literal("-128", "Int8", "== -128")}},
        {"v[9] < -1", {Literal("-1", "UInt16", "< -1")}},
        {"s.size >= \"many\"", {Literal("many", "UInt32", ">= many")}},
        {"d > \"hot\"", {Literal("hot", "Double", "> hot")}},
        {"(y)", {missing + "y'"}},
        {"!(z.exists == true) ^^ y == 1 || y[2] < 300", {missing + "z'", missing + "y'"}},
        {"y.front > 1 && (x == 300)", {missing + "y'", Literal("300", "Int8", "== 300")}},
        {"x.length == 1", {"There is no property 'length': 'x.length' has no value"}},
        {"y.length == 1",
         {missing + "y'", "There is no property 'length': 'y.length' has no value"}},
        {"Pushed()", {"There is no function 'Pushed': 'Pushed()' is always false"}},
        {"X == 1", {missing + "X'"}},
    };
    for (const auto& each : cases) {
        std::vector<std::string> messages;
        for (const RuleFinding& finding : CheckRule(each.text, type))
            messages.push_back(finding.message);
        EXPECT_EQ(messages, each.messages) << each.text;
    }
    EXPECT_THROW(CheckRule("x ==", type), Poco::SyntaxException);
}

TEST(RuleCheck, TellsKindAndName) {
    StreamType type;
    type.Add("x", Int8, 1);
    const auto findings = CheckRule("y == 1 && x.z == 1 && f() && x == 300", type);
    const std::pair<RuleFinding::Kind, const char*> expected[] = {
        {RuleFinding::missingEntry, "y"},
        {RuleFinding::unknownProperty, "z"},
        {RuleFinding::unknownFunction, "f"},
        {RuleFinding::literalNeverFits, "300"}};
    ASSERT_EQ(findings.size(), std::size(expected));
    for (std::size_t i = 0; i < findings.size(); ++i) {
        EXPECT_EQ(findings[i].kind, expected[i].first);
        EXPECT_EQ(findings[i].name, expected[i].second);
    }
}

TEST(RuleCheck, WalksALongChainInOrder) {
    const StreamType type;
    std::string text = "first == 1";
    for (int i = 0; i < 20'000; ++i)
        text += " && first == 1";
    const auto findings = CheckRule(text + " && last == 1", type);
    ASSERT_EQ(findings.size(), 2U);
    EXPECT_EQ(findings[0].name, "first");
    EXPECT_EQ(findings[1].name, "last");
}

}  // namespace
}  // namespace velmora::core::tessaryn
