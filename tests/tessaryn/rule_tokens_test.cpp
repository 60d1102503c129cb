// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/private/subscription_rule_tokens.h"

#include <Poco/Exception.h>
#include <Poco/StreamTokenizer.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

namespace velmora::core::tessaryn {
namespace {

using Poco::Token;
using namespace std::string_literals;

/// One token as its class, its text and, for an operator, its code.
std::string Describe(const Token& token) {
    const std::map<Token::Class, std::string> classes = {
        {Token::OPERATOR_TOKEN, "op"},         {Token::IDENTIFIER_TOKEN, "id"},
        {Token::STRING_LITERAL_TOKEN, "str"},  {Token::INTEGER_LITERAL_TOKEN, "int"},
        {Token::FLOAT_LITERAL_TOKEN, "float"}, {Token::INVALID_TOKEN, "bad"}};
    const auto name = classes.find(token.tokenClass());
    std::string text = name == classes.end() ? "other" : name->second;
    if (token.is(Token::OPERATOR_TOKEN))
        text += std::to_string(token.asInteger());
    return text + ":" + token.tokenString();
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
        for (const Token* token = tokenizer.next(); !token->is(Token::EOF_TOKEN);
             token = tokenizer.next()) {
            tokens += (tokens.empty() ? "" : " ") + Describe(*token);
        }
    } catch (const Poco::SyntaxException& error) {
        tokens += (tokens.empty() ? "{" : " {") + error.message() + "}";
    }
    return tokens;
}

/// A token of a whole text, as a tokenizer would make it.
template <class T>
struct Read : T {
    explicit Read(const std::string& text) {
        std::istringstream in(text);
        EXPECT_TRUE(this->start(static_cast<char>(in.get()), in)) << text;
        this->finish(in);
    }
};

TEST(RuleTokens, SplitAText) {
    const struct {
        std::string text;
        std::string tokens;
    } cases[] = {
        // Every operator with its code, and what only looks like one.
        {"()[]:.", "op1:( op2:) op3:[ op4:] op5:: op6:."},
        {"< <= > >=", "op7:< op8:<= op9:> op10:>="},
        {"== ! != && || ^^", "op11:== op12:! op13:!= op14:&& op15:|| op16:^^"},
        {"a<=b", "id:a op8:<= id:b"},
        {"a<b", "id:a op7:< id:b"},
        {"a=b", "id:a op0:= id:b"},
        {"===", "op11:== op0:="},
        {"!!=", "op12:! op13:!="},
        {"a ^^b", "id:a op16:^^ id:b"},
        {"&&&&", "op14:&& op14:&&"},
        // A doubled operator that isn't doubled names the character that stands in its place.
        {"a & b", "id:a {expected: &, got:  }"},
        {"|&", "{expected: |, got: &}"},
        {"^", "{expected: ^, got: \xff}"},
        {"&\xff", "{expected: &, got: \xff}"},
        {"&\0"s, "{expected: &, got: \0}"s},
        // Names.
        {"_a9 Z true", "id:_a9 id:Z id:true"},
        {"9a", "int:9 id:a"},
        {"a\xe4", "id:a bad:\xe4"},
        {"a\xff", "id:a bad:\xff"},
        {"\0a"s, "bad:\0 id:a"s},
        {"a\t\r\n\v\fb", "id:a id:b"},
        {"a @ #", "id:a bad:@ bad:#"},
        // Numbers.
        {"x[1:3]", "id:x op3:[ int:1 op5:: int:3 op4:]"},
        {"1..2", "int:1 op6:. op6:. int:2"},
        {"1.", "float:1."},
        {"1.5.2", "float:1.5 op6:. int:2"},
        {".5", "op6:. int:5"},
        {"1.5e+3 2E7 3e-1", "float:1.5e+3 float:2E7 float:3e-1"},
        {"1.e5", "float:1.e5"},
        {"1e", "{expected: digit, got: \xff}"},
        {"1e+x", "{expected: digit, got: x}"},
        {"1.5E,", "{expected: digit, got: ,}"},
        {"0x1f 5x1F -x1 +x", "int:0x1f int:5x1F int:-x1 int:+x"},
        {"0xfg", "int:0xf id:g"},
        {"0x1.5e2", "int:0x1 op6:. float:5e2"},
        {"15x1", "int:15 id:x1"},
        {"0X1F", "int:0 id:X1F"},
        {"1,5", "int:1 bad:, int:5"},
        {"-3+4", "int:-3 int:+4"},
        {"- 3", "int:- int:3"},
        // A float directly before an integer: the kind doesn't stick.
        {"1.5 7", "float:1.5 int:7"},
        // Texts, which keep quotes and backslashes.
        {R"("a\"b")", R"(str:"a\"b")"},
        {R"("\\"a)", R"(str:"\\" id:a)"},
        {"\"\"\"\"", "str:\"\" str:\"\""},
        {"\"a\xff\0b\""s, "str:\"a\xff\0b\""s},
        {"\"a\tb\"", "str:\"a\tb\""},
        {"\"\\\n\"", "str:\"\\\n\""},
        {"\"a\nb\"", "{Unterminated string literal}"},
        {"x \"a\r\"", "id:x {Unterminated string literal}"},
        {"\"a", "{Unterminated string literal}"},
        {"\"a\\", "{Unterminated string literal}"},
        {"\"a\\\"", "{Unterminated string literal}"},
        {"\"", "{Unterminated string literal}"},
    };
    for (const auto& [text, tokens] : cases)
        EXPECT_EQ(TokensOf(text), tokens) << "of: " << text;
    // Only a digit behind it lets a number begin with a period, which operators take first here.
    Read<NumberLiteralToken> half(".5e1");
    EXPECT_EQ(Describe(half), "float:.5e1");
}

TEST(RuleTokens, StringLiteralDropsQuotesAndBackslashes) {
    const struct {
        std::string text;
        std::string value;
    } cases[] = {
        {R"("")", ""},     {R"("a\"b")", "a\"b"}, {R"("a\nb")", "anb"},
        {R"("\\")", "\\"}, {R"("\\\"")", "\\\""}, {"\"\xff\0\""s, "\xff\0"s},
    };
    for (const auto& [text, value] : cases)
        EXPECT_EQ(Read<StringLiteralToken>(text).asString(), value) << text;
}

template <class Convert>
std::string Converted(Convert convert) {
    try {
        return std::to_string(convert());
    } catch (const Poco::SyntaxException& error) {
        return error.message();
    }
}

TEST(RuleTokens, NumbersConvertToEachInteger) {
    const std::string no = "Not a valid integer: ";
    const std::string noUnsigned = "Not a valid unsigned integer: ";
    const std::string noHex = "Not a valid hexadecimal integer: ";
    const struct {
        std::string text;
        std::string asInt;
        std::string asInt64;
        std::string asUnsigned;
        std::string asUnsigned64;
    } cases[] = {
        {"31", "31", "31", "31", "31"},
        {"007", "7", "7", "7", "7"},
        {"0x1f", "31", "31", "31", "31"},
        {"0xFFFFFFFF", "-1", "4294967295", "4294967295", "4294967295"},
        {"0xffffffffffffffff", noHex, "-1", noHex, "18446744073709551615"},
        {"0x10000000000000000", noHex, noHex, noHex, noHex},
        {"0x", noHex, noHex, noHex, noHex},
        {"5x1F", no, no, noUnsigned, noUnsigned},
        {"-x1", no, no, noUnsigned, noUnsigned},
        {"-3", "-3", "-3", noUnsigned, noUnsigned},
        {"+3", "3", "3", "3", "3"},
        {"-", no, no, noUnsigned, noUnsigned},
        {"+", no, no, noUnsigned, noUnsigned},
        {"2147483647", "2147483647", "2147483647", "2147483647", "2147483647"},
        {"2147483648", no, "2147483648", "2147483648", "2147483648"},
        {"4294967296", no, "4294967296", noUnsigned, "4294967296"},
        {"9223372036854775808", no, no, noUnsigned, "9223372036854775808"},
        {"-9223372036854775808", no, "-9223372036854775808", noUnsigned, noUnsigned},
        {"1.5", no, no, noUnsigned, noUnsigned},
    };
    for (const auto& c : cases) {
        const Read<NumberLiteralToken> token(c.text);
        const auto expected = [&](const std::string& value) {
            return value.back() == ' ' ? value + c.text : value;
        };
        EXPECT_EQ(Converted([&] { return token.asInteger(); }), expected(c.asInt)) << c.text;
        EXPECT_EQ(Converted([&] { return token.asInteger64(); }), expected(c.asInt64)) << c.text;
        EXPECT_EQ(Converted([&] { return token.asUnsignedInteger(); }), expected(c.asUnsigned))
            << c.text;
        EXPECT_EQ(Converted([&] { return token.asUnsignedInteger64(); }), expected(c.asUnsigned64))
            << c.text;
    }
    EXPECT_EQ(Read<NumberLiteralToken>("-1.5e+3").asFloat(), -1500.0);
    EXPECT_EQ(Read<NumberLiteralToken>("1.").asFloat(), 1.0);
    EXPECT_THROW(Read<NumberLiteralToken>("1e400").asFloat(), Poco::SyntaxException);
}

TEST(RuleTokens, FinishWithoutStartIsAnInternalError) {
    OperatorToken token;
    std::istringstream in("=");
    EXPECT_FALSE(token.start('x', in));
    try {
        token.finish(in);
        FAIL() << "nothing was thrown";
    } catch (const Poco::BugcheckException& error) {
        EXPECT_EQ(error.message(),
                  "in file \"src/libs/tessaryn/private/subscription_rule_tokens\", line 145");
    }
}

}  // namespace
}  // namespace velmora::core::tessaryn
