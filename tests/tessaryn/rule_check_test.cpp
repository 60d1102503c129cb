// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_check.h"

#include "tessaryn/stream_type.h"

#include <Poco/Exception.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

TEST(RuleCheck, FindsWhatCanNeverMatch) {
    StreamType type;
    type.Add("x", Int8, 1).Add("v", UInt16, 3).Add("s", String, 0).Add("b", Bool, 1);
    std::string chain = "X == 1";
    for (int i = 0; i < 20'000; ++i) {
        chain += " && X == 1";
    }
    const auto never = [](const std::string& literal, const std::string& as,
                          const std::string& term) {
        return "The literal '" + literal + "' does not convert to " + as + ": the comparison '" +
               term + "' never holds";
    };
    const std::string noX = "The stream type has no entry 'X'";
    const std::string noY = "The stream type has no entry 'y'";
    const struct {
        std::string text;
        std::vector<std::string> messages;
    } cases[] = {
        {"", {}},
        {"x == 127 && x != -128 && x < 1.5 && v[2:7] >= 65535 && s == \"\" && b != false", {}},
        {"s == 5 && s.size > 2 && s.type == \"String\" && x == \"7\" && x.exists == false", {}},
        {"pushed() && popped() != true && !changed() || true() ^^ false()", {}},
        {"(x) || y", {noY}},
        {"x != 128", {never("128", "Int8", "!= 128")}},
        {"x.front == -128.0", {never("-128", "Int8", "== -128")}},
        {"v[9] < -1", {never("-1", "UInt16", "< -1")}},
        {"s.size >= \"many\"", {never("many", "UInt32", ">= many")}},
        {"!(y.exists == true) ^^ X == 1 || y[2] < 300", {noY, noX}},
        {"y.front > 1 && (x == 300)", {noY, never("300", "Int8", "== 300")}},
        {"x.length == 1", {"There is no property 'length': 'x.length' has no value"}},
        {"Pushed()", {"There is no function 'Pushed': 'Pushed()' is always false"}},
        {chain + " && y == 1", {noX, noY}},
    };
    for (const auto& each : cases) {
        std::vector<std::string> messages;
        for (const RuleFinding& finding : CheckRule(each.text, type)) {
            messages.push_back(finding.message);
        }
        EXPECT_EQ(messages, each.messages) << each.text.substr(0, 100);
    }
    EXPECT_THROW(CheckRule("x ==", type), Poco::SyntaxException);
}

}  // namespace
}  // namespace velmora::core::tessaryn
