// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/private/subscription_rule_tokens.h"

#include <Poco/Exception.h>
#include <Poco/StreamTokenizer.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {
namespace {

using namespace std::string_literals;
using Poco::Token;

// One token as its class, with its code if it is an operator, and its text.
std::string Describe(const Token& token) {
    const std::map<Token::Class, std::string> classes = {
        {Token::OPERATOR_TOKEN, "op"},         {Token::IDENTIFIER_TOKEN, "id"},
        {Token::STRING_LITERAL_TOKEN, "str"},  {Token::INTEGER_LITERAL_TOKEN, "int"},
        {Token::FLOAT_LITERAL_TOKEN, "float"}, {Token::INVALID_TOKEN, "bad"}};
    const bool coded = token.is(Token::OPERATOR_TOKEN);
    return classes.at(token.tokenClass()) + (coded ? std::to_string(token.asInteger()) : "") + ":" +
           token.tokenString();
}

// All tokens of a text; an error ends them with its message in braces.
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
        for (auto* token = tokenizer.next(); !token->is(Token::EOF_TOKEN);
             token = tokenizer.next()) {
            tokens += Describe(*token) + " ";
        }
    } catch (const Poco::SyntaxException& error) {
        tokens += "{" + error.message() + "} ";
    }
    return tokens;
}

TEST(SubscriptionRuleTokens, SplitText) {
    const std::string unterminated = "{Unterminated string literal} ";
    const std::pair<std::string, std::string> cases[] = {
        {"()[]:.", "op1:( op2:) op3:[ op4:] op5:: op6:. "},
        {"< <= > >=", "op7:< op8:<= op9:> op10:>= "},
        {"== ! != && || ^^", "op11:== op12:! op13:!= op14:&& op15:|| op16:^^ "},
        {"===!!=&&&&", "op11:== op0:= op12:! op13:!= op14:&& op14:&& "},
        // Where the second character of an operator is missing, the error names the one found.
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
    for (const auto& [text, tokens] : cases) {
        EXPECT_EQ(TokensOf(text), tokens) << "of: " << text;
    }
}

TEST(NumberLiteralToken, ConvertsToUnsignedIntegers) {
    const std::string invalid = "Not a valid unsigned integer: ";
    const std::vector<std::string> cases[] = {
        {"0xFFFFFFFF", "4294967295", "4294967295"},
        {"0xffffffffffffffff", "Not a valid hexadecimal integer: 0xffffffffffffffff",
         "18446744073709551615"},
        {"5x1F", invalid + "5x1F", invalid + "5x1F"},
        {"-3", invalid + "-3", invalid + "-3"},
        {"18446744073709551615", invalid + "18446744073709551615", "18446744073709551615"},
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

}  // namespace
}  // namespace velmora::core::tessaryn
