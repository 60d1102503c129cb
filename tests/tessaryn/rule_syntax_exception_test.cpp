// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_syntax_exception.h"

#include "tessaryn/rule_check.h"
#include "tessaryn/subscription_rules.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace std::string_literals;

// The text with the span of the error in braces.
std::string MarkFailure(const std::string& text) {
    try {
        DescribeRule(text);
    } catch (const RuleSyntaxException& error) {
        const TextSpan span = error.GetSpan();
        std::string marked = text;
        return marked.insert(span.offset + span.length, "}").insert(span.offset, "{");
    }
    return "no error";
}

TEST(RuleSyntaxException, SpanIsTheTokenAtWhichParsingFailed) {
    const std::pair<std::string, std::string> cases[] = {
        {"5", "{5}"},
        {"  5", "  {5}"},
        {"a == 1\n\t==  2", "a == 1\n\t{==}  2"},
        {"a \"b\" 5", "a {\"b\"} 5"},
        {"x  = 1", "x  {=} 1"},
        {"a && b", "a {&&} b"},
        {"a[ 1.5 ]", "a[ {1.5} ]"},
        {"a[1..2]", "a[1{.}.2]"},
        {"a[1:2.5]", "a[1:{2.5}]"},
        {"a. 1", "a. {1}"},
        {"a(1)", "a({1})"},
        {"x == yes", "x == {yes}"},
        {"x < @", "x < {@}"},
        {"x < \xff", "x < {\xff}"},
        {"x < \0 y"s, "x < {\0} y"s},
        // The end of the text, with blanks before it and without.
        {"x ==", "x =={}"},
        {"(a  \n", "(a  \n{}"},
        {"a.", "a.{}"},
        // Tokens that do not end.
        {"x == 1  & y", "x == 1  {&} y"},
        {"x == 1e", "x == {1e}"},
        {"x ==  \"a b", "x ==  {\"a b}"},
        {"x == \"a\nb\"", "x == {\"a}\nb\""},
        // Numbers that do not convert.
        {"x == 5x1F ", "x == {5x1F} "},
        {"x[ 2147483648]", "x[ {2147483648}]"},
        {"x == 1e400", "x == {1e400}"},
    };
    for (const auto& [text, marked] : cases) {
        EXPECT_EQ(MarkFailure(text), marked) << "of: " << text;
    }
    const std::string groups(1000, '(');
    EXPECT_EQ(MarkFailure(groups + " (a)"), groups + " {(}a)");
    std::string terms;
    for (int i = 0; i < 100000; ++i) {
        terms += "a()&&";
    }
    EXPECT_EQ(MarkFailure(terms + "b()"), terms + "{b}()");
}

TEST(RuleSyntaxException, IsASyntaxExceptionOfPocoInEveryOtherRespect) {
    const std::vector<std::function<void()>> operations = {
        [] { delete Expression("x == y"); },
        [] { ExpressionRule rule("x == y"); },
        [] { DescribeRule("x == y"); },
    };
    for (const auto& operation : operations) {
        try {
            operation();
            ADD_FAILURE() << "no error";
        } catch (const Poco::SyntaxException& error) {
            const Poco::SyntaxException expected("Misplaced identifier", "y");
            EXPECT_EQ(error.message(), expected.message());
            EXPECT_EQ(error.displayText(), expected.displayText());
            EXPECT_STREQ(error.what(), expected.what());
            EXPECT_STREQ(error.name(), expected.name());
            EXPECT_EQ(error.code(), expected.code());
        }
    }
}

TEST(RuleSyntaxException, KeepsSpanAndHintWhenItIsRethrown) {
    const RuleSyntaxException original("message", {3, 4}, "hint");
    const std::unique_ptr<Poco::Exception> clone(original.clone());
    try {
        clone->rethrow();
        ADD_FAILURE() << "no error";
    } catch (const RuleSyntaxException& error) {
        EXPECT_EQ(error.GetSpan(), (TextSpan{3, 4}));
        EXPECT_EQ(error.GetHint(), "hint");
        EXPECT_EQ(error.message(), "message");
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
