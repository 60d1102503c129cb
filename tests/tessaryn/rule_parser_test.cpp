// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "support/rules.h"
#include "support/samples.h"
#include "tessaryn/private/subscription_rule_tokens.h"
#include "tessaryn/subscription_rules.h"

#include <Poco/Runnable.h>
#include <Poco/StreamTokenizer.h>
#include <Poco/Thread.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using Poco::Token;
using test::OutcomeOf;
using test::Parse;
using namespace std::string_literals;

// ---- Tokens ----

/// One token as its class, with its code if it is an operator, and its text.
std::string Describe(const Token& token) {
    const std::map<Token::Class, std::string> classes = {
        {Token::OPERATOR_TOKEN, "op"},         {Token::IDENTIFIER_TOKEN, "id"},
        {Token::STRING_LITERAL_TOKEN, "str"},  {Token::INTEGER_LITERAL_TOKEN, "int"},
        {Token::FLOAT_LITERAL_TOKEN, "float"}, {Token::INVALID_TOKEN, "bad"}};
    const bool coded = token.is(Token::OPERATOR_TOKEN);
    return classes.at(token.tokenClass()) + (coded ? std::to_string(token.asInteger()) : "") + ":" +
           token.tokenString();
}

/// All tokens of a text; an error ends them with its message in braces.
std::string TokensOf(const std::string& text) {
    std::istringstream in(text);
    Poco::StreamTokenizer tokenizer(in);
    tokenizer.addToken(new OperatorToken);
    tokenizer.addToken(new IdentifierToken);
    tokenizer.addToken(new StringLiteralToken);
    tokenizer.addToken(new NumberLiteralToken);
    tokenizer.addToken(new Poco::WhitespaceToken);
    std::string tokens;
    try {
        for (auto* token = tokenizer.next(); !token->is(Token::EOF_TOKEN); token = tokenizer.next())
            tokens += Describe(*token) + " ";
    } catch (const Poco::SyntaxException& error) {
        tokens += "{" + error.message() + "} ";
    }
    return tokens;
}

TEST(RuleTokens, SplitAText) {
    const std::string unterminated = "{Unterminated string literal} ";
    const std::pair<std::string, std::string> cases[] = {
        {"()[]:.", "op1:( op2:) op3:[ op4:] op5:: op6:. "},
        {"< <= > >=", "op7:< op8:<= op9:> op10:>= "},
        {"== ! != && || ^^", "op11:== op12:! op13:!= op14:&& op15:|| op16:^^ "},
        {"===!!=&&&&", "op11:== op0:= op12:! op13:!= op14:&& op14:&& "},
        // A doubled operator that isn't doubled names the character that stands in its place.
        {"a & b", "id:a {expected: &, got:  } "},
        {"^", "{expected: ^, got: \xff} "},
        {"&\0"s, "{expected: &, got: \0} "s},
        {"_a9 Z\t\r\n\v\fb 9a", "id:_a9 id:Z id:b int:9 id:a "},
        {"a\xff\0a @ #"s, "id:a bad:\xff bad:\0 id:a bad:@ bad:# "s},
        {"1..2 1.5.2 .5", "int:1 op6:. op6:. int:2 float:1.5 op6:. int:2 op6:. int:5 "},
        {"1. 1.e5 1.5e+3 2E7 7", "float:1. float:1.e5 float:1.5e+3 float:2E7 int:7 "},
        {"1e", "{expected: digit, got: \xff} "},
        {"1.5e+x", "{expected: digit, got: x} "},
        {"0x1f 5x1F -x1 +x 0xfg", "int:0x1f int:5x1F int:-x1 int:+x int:0xf id:g "},
        {"0x1.5e2 15x1 0X1F", "int:0x1 op6:. float:5e2 int:15 id:x1 int:0 id:X1F "},
        {"1,5 -3+4 - 3", "int:1 bad:, int:5 int:-3 int:+4 int:- int:3 "},
        {R"("a\"b" "\\"a)", R"(str:"a\"b" str:"\\" id:a )"},
        {"\"\"\"a\xff\t\0b\""s, "str:\"\" str:\"a\xff\t\0b\" "s},
        {"\"a\nb\"", unterminated},
        {"x \"a\r\"", "id:x " + unterminated},
        {"\"a\\\"", unterminated},
    };
    for (const auto& [text, tokens] : cases)
        EXPECT_EQ(TokensOf(text), tokens) << "of: " << text;
}

TEST(RuleTokens, NumbersConvertToUnsignedIntegersToo) {
    const std::string no = "Not a valid unsigned integer: ";
    const std::vector<std::string> cases[] = {
        {"0xFFFFFFFF", "4294967295", "4294967295"},
        {"0xffffffffffffffff", "Not a valid hexadecimal integer: 0xffffffffffffffff",
         "18446744073709551615"},
        {"5x1F", no + "5x1F", no + "5x1F"},
        {"-3", no + "-3", no + "-3"},
        {"18446744073709551615", no + "18446744073709551615", "18446744073709551615"},
    };
    const auto outcomeOf = [](const auto& convert) {
        try {
            return std::to_string(convert());
        } catch (const Poco::SyntaxException& error) {
            return error.message();
        }
    };
    for (const auto& c : cases) {
        std::istringstream in(c[0]);
        NumberLiteralToken token;
        ASSERT_TRUE(token.start(static_cast<char>(in.get()), in));
        token.finish(in);
        EXPECT_EQ(outcomeOf([&] { return token.asUnsignedInteger(); }), c[1]);
        EXPECT_EQ(outcomeOf([&] { return token.asUnsignedInteger64(); }), c[2]);
    }
}

// ---- Trees and errors ----

/// A text's tree, with "|" in place of line feeds, or its error.
std::string TreeOf(const std::string& text) {
    std::string tree;
    const std::string outcome = OutcomeOf([&] {
        tree = test::DumpOf(Parse(text).get());
        return true;
    });
    std::replace(tree.begin(), tree.end(), '\n', '|');
    return outcome == "true" ? tree : outcome;
}

TEST(RuleParser, BuildsTheTreeOfAText) {
    const std::pair<std::string, std::string> cases[] = {
        {" \t\n", ""},
        {"()", ""},
        {"((a))", "exists: a|"},
        {"a[1:]", "index: a[1:-1]|"},
        {"a[+2:0x1f]", "index: a[2:31]|"},
        {"a[0xFFFFFFFF]", "index: a[-1:-1]|"},
        {"x.size >= 0x10", ">=| prop: x.size| 16|"},
        {"x == \"a \\\"b\\\\n\\n\"", "==| index: x[0:-1]| a \"b\\nn|"},
        {"x == 0xffffffffffffffff", "==| index: x[0:-1]| -1|"},
        {"x == -9223372036854775808", "==| index: x[0:-1]| -9223372036854775808|"},
        {"(!(!a))", "!| !|  exists: a|"},
        {"!", "!|"},
        {"|| ||", "||| |||"},
        {R"((a) || b.c == 2 && d() ^^ !e[1:2] != "x")",
         "^^| |||  exists: a|  &&|   ==|    prop: b.c|    2|   func: d| !|  !=|   index: e[1:2]|   "
         "x|"},
    };
    for (const auto& [text, tree] : cases)
        EXPECT_EQ(TreeOf(text), tree) << "of: " << text;
}

TEST(RuleParser, RefusesATextInItsOwnWords) {
    const struct {
        std::string message;
        std::vector<std::string> texts;
    } cases[] = {
        {"Extra tokens after expression: 5", {"5", "5 \""}},
        {"Extra tokens after expression: ==", {"a == 1 == 2", "(a) == 1"}},
        {"Extra tokens after expression: !", {"!!a", "x == 1 !"}},
        {"Extra tokens after expression: b", {"a b", "a[1] b", "a \"b\"", "a b &"}},
        {"Extra tokens after expression", {"a \"\""}},
        {"Extra tokens after expression: )", {"a)", ")"}},
        // A bare name doesn't stand directly before an operator, nor before what isn't one.
        {"Expected: '(', '[' or '.'", {"a && b", "!a ^^ b()", "a:", "a!", "a = 1", "a && \"b"}},
        {"Expected: ')'", {"(a", "(a b)", "(5)", "(", "a(1)"}},
        {"Expected: identifier", {"a.", "a.1", "a.\"b\""}},
        {"Expected: integer or ':'", {"a[", "a[]", "a[1.5]", "a[b &"}},
        {"Expected: ']'", {"a[1", "a[1 2]", "a[1:2.5]", "a[1:2:3]", "a[::]"}},
        {"Misplaced identifier: y", {"x == y", "x == y \""}},
        {"Misplaced identifier: True", {"x == True"}},
        {"Misplaced token", {"x =="}},
        {"Misplaced token: @", {"x < @"}},
        // What the tokens and the numbers raise passes unchanged, but not before an error that the
        // parser finds in front of it, as above: tokens are read one ahead.
        {"expected: &, got:  ", {"x & y"}},
        {"Unterminated string literal", {"x == \"a"}},
        {"Not a valid integer: 5x1F", {"x == 5x1F", "x[5x1F]"}},
        {"Not a valid integer: -", {"x == -", "x[-]"}},
        {"Not a valid integer: 2147483648", {"x[2147483648]"}},
        {"Not a valid hexadecimal integer: 0x100000000", {"x[0:0x100000000]"}},
        {"Not a valid floating-point number: 1e400", {"x == 1e400"}},
    };
    for (const auto& [message, texts] : cases) {
        for (const std::string& text : texts)
            EXPECT_EQ(TreeOf(text), "Syntax error: " + message) << "of: " << text;
    }
}

// ---- Depth and length ----

std::string Repeat(const std::string& text, int count) {
    std::string repeated;
    for (int i = 0; i < count; ++i)
        repeated += text;
    return repeated;
}

/// Runs on a thread of POCO's without the shared ownership that its `startFunc` brings: the thread
/// sanitizer can't see the library release it.
struct Work : Poco::Runnable {
    explicit Work(std::function<void()> toDo) : work(std::move(toDo)) {}
    void run() override { work(); }
    std::function<void()> work;
};

TEST(RuleParser, LongChainsAndDeepGroupsUseNoMoreOfTheStack) {
    test::TestType type({{"x", Int32, 1}});
    Sample sample(&type.type, Poco::Timestamp());
    SubscriptionArgs args{pushed, &sample, nullptr};
    const struct {
        std::string repeated, last, closing;
        int count;
        std::string truth;
    } cases[] = {
        // The other terms leave it to the last one: in a "^^" chain they cancel out.
        {"x == 0 && ", "x == 0", "", 10000, "true"},
        {"x == 1 || ", "x == 1", "", 10000, "false"},
        {"x == 0 ^^ ", "x == 1", "", 10000, "false"},
        {"((x)) && ", "!x", "", 10000, "false"},
        {"(", "x", ")", 1000, "true"},
        // Nodes of all kinds on every level, the group on the right or on the left.
        {"x == 1 ^^ !(x == 0 && (", "x", "))", 500, "true"},
        {"(!(", "x", ") || x == 1) && x == 0", 500, "true"},
    };
    for (const auto& c : cases) {
        const std::string text = Repeat(c.repeated, c.count) + c.last + Repeat(c.closing, c.count);
        Poco::Thread thread;
        if (c.closing.empty())
            thread.setStackSize(256 * 1024);
        Work work([&] {
            std::shared_ptr<RLExpr> tree = Parse(text);
            const auto ask = [&] { return tree->evaluate(args).value.convert<bool>(); };
            EXPECT_EQ(OutcomeOf(ask), c.truth) << c.repeated;
            const std::unique_ptr<ISubscriptionRule> rule(Expression(text));
            EXPECT_EQ(OutcomeOf([&] { return rule->Applies(args); }), c.truth) << c.repeated;
            EXPECT_NE(test::DumpOf(tree.get()).find("x"), std::string::npos);
        });
        thread.start(work);
        thread.join();
    }
    for (const std::string open : {"(", "!(", "a() && ("})
        EXPECT_THROW(Parse(Repeat(open, 1000000)), Poco::SyntaxException);
}

}  // namespace
}  // namespace velmora::core::tessaryn
