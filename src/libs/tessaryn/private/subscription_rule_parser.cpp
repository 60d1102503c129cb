// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/private/subscription_rule_parser.h"

#include "tessaryn/node_spans.h"
#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/private/subscription_rule_tokens.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/syntax_hint.h"

#include <Poco/Ascii.h>
#include <Poco/Bugcheck.h>
#include <Poco/Exception.h>

#include <utility>

namespace velmora::core::tessaryn {

using Poco::SyntaxException;
using Poco::Token;
using Poco::Dynamic::Var;

namespace {

using Expr = std::shared_ptr<RLExpr>;

constexpr const char* sourceFile = "src/libs/tessaryn/private/subscription_rule_parser";

constexpr int maxGroups = 1000;
constexpr int maxTerms = 100000;

// The code of an operator; 0 for any other token.
int codeOf(const Token* token) {
    return token->is(Token::OPERATOR_TOKEN) ? token->asInteger() : 0;
}

void countUpTo(int limit, int& count, const char* message) {
    if (count == limit) {
        throw SyntaxException(message, std::to_string(limit));
    }
    ++count;
}

Expr makeComparison(int code, const Expr& left, const Var& value, const std::string& literal) {
    switch (code) {
        case OperatorToken::OP_LT:
            return std::make_shared<RLLtExpr>(left, value);
        case OperatorToken::OP_LE:
            return std::make_shared<RLLeExpr>(left, value);
        case OperatorToken::OP_GT:
            return std::make_shared<RLGtExpr>(left, value);
        case OperatorToken::OP_GE:
            return std::make_shared<RLGeExpr>(left, value);
        case OperatorToken::OP_EQ:
            return std::make_shared<RLEqExpr>(left, value);
        case OperatorToken::OP_NE:
            return std::make_shared<RLNeExpr>(left, value);
        default:
            throw SyntaxException("Misplaced token", literal);
    }
}

// The tokenizer owns the token once `addToken` has returned, but not when it throws.
template <class TokenClass>
void addToken(Poco::StreamTokenizer& tokenizer) {
    auto token = std::make_unique<TokenClass>();
    tokenizer.addToken(token.get());
    static_cast<void>(token.release());
}

}  // namespace

RLParser::RLParser(const std::string& text) : stream(text), tokenizer(nullptr) {
    auto owner = std::make_unique<Poco::StreamTokenizer>(stream);
    addToken<OperatorToken>(*owner);
    addToken<IdentifierToken>(*owner);
    addToken<StringLiteralToken>(*owner);
    addToken<NumberLiteralToken>(*owner);
    addToken<Poco::WhitespaceToken>(*owner);
    tokenizer = owner.release();
}

RLParser::RLParser(const std::string& text, NodeSpans& nodeSpans) : RLParser(text) {
    this->nodeSpans = &nodeSpans;
}

RLParser::~RLParser() {
    delete tokenizer;
}

Expr RLParser::parse() {
    Expr result;
    try {
        const Token* const next = parseExpr(nextToken(), result);
        if (!next->is(Token::EOF_TOKEN)) {
            throw SyntaxException("Extra tokens after expression", next->asString());
        }
    } catch (const SyntaxException& error) {
        const TextSpan span = spanOfFailure();
        throw RuleSyntaxException(error.message(), span, HintForSyntaxError(stream.str(), span));
    }
    return result;
}

const Token* RLParser::nextToken() {
    lastEnd = position();
    return tokenizer->next();
}

// Of the stream's buffer, since a stream that has reached its end has no position any more.
std::size_t RLParser::position() const {
    return static_cast<std::size_t>(
        stream.rdbuf()->pubseekoff(0, std::ios_base::cur, std::ios_base::in));
}

// The span of the current token.
TextSpan RLParser::spanOf(const Token& token) const {
    const std::size_t length = token.tokenString().size();
    return {position() - length, length};
}

// Every failure is one of the current token, which may have been read in part only.
TextSpan RLParser::spanOfFailure() const {
    const std::string text = stream.str();
    std::size_t begin = lastEnd;
    while (begin < text.size() && Poco::Ascii::isSpace(text[begin])) {
        ++begin;
    }
    return {begin, position() - begin};
}

const Token* RLParser::parseExpr(const Token* next, Expr& result) {
    return parseOperands<RLXorExpr>(next, result, OperatorToken::OP_XOR, &RLParser::parseOrExpr);
}

const Token* RLParser::parseOrExpr(const Token* next, Expr& result) {
    return parseOperands<RLOrExpr>(next, result, OperatorToken::OP_OR, &RLParser::parseAndExpr);
}

const Token* RLParser::parseAndExpr(const Token* next, Expr& result) {
    return parseOperands<RLAndExpr>(next, result, OperatorToken::OP_AND, &RLParser::parseRelExpr);
}

// Operands of one level of precedence, joined by the operator of that level.
template <class Node>
const Token* RLParser::parseOperands(const Token* next, Expr& result, int code, Step operand) {
    next = (this->*operand)(next, result);
    while (codeOf(next) == code) {
        const TextSpan symbol = spanOf(*next);
        Expr right;
        next = (this->*operand)(nextToken(), right);
        result = std::make_shared<Node>(std::move(result), std::move(right));
        record(*result, {.expression = symbol});
    }
    return next;
}

const Token* RLParser::parseRelExpr(const Token* next, Expr& result) {
    result.reset();
    countUpTo(maxTerms, terms, "Expression has more terms than allowed");
    const bool negated = codeOf(next) == OperatorToken::OP_NOT;
    const TextSpan symbol = spanOf(*next);
    if (negated) {
        next = nextToken();
    }
    if (codeOf(next) == OperatorToken::OP_OPENPARENT) {
        next = parseGroup(result);
    } else if (next->is(Token::IDENTIFIER_TOKEN)) {
        next = parseNamed(next, result);
    }
    if (negated) {
        result = std::make_shared<RLNotExpr>(std::move(result));
        record(*result, {.expression = symbol});
    }
    return next;
}

const Token* RLParser::parseGroup(Expr& result) {
    countUpTo(maxGroups, groups, "Groups are nested deeper than allowed");
    const Token* const next = parseExpr(nextToken(), result);
    --groups;
    if (codeOf(next) != OperatorToken::OP_CLOSEPARENT) {
        throw SyntaxException("Expected: ')'");
    }
    return nextToken();
}

// A relation that begins with a name: an accessor, a comparison, both, or the bare name.
const Token* RLParser::parseNamed(const Token* next, Expr& result) {
    // A copy, since the tokenizer reuses its token objects.
    const std::string name = next->asString();
    const TextSpan nameSpan = spanOf(*next);
    next = nextToken();
    const std::size_t accessor = spanOf(*next).offset;
    if (next->is(Token::OPERATOR_TOKEN) && !isRelOp(next)) {
        switch (next->asInteger()) {
            case OperatorToken::OP_CLOSEPARENT:
                break;
            case OperatorToken::OP_OPENPARENT:
                next = parseFunc(next, result, name);
                break;
            case OperatorToken::OP_OPENBRACKET:
                next = parseIndex(next, result, name);
                break;
            case OperatorToken::OP_PERIOD:
                next = parseProp(next, result, name);
                break;
            default:
                throw SyntaxException("Expected: '(', '[' or '.'");
        }
    }
    if (isRelOp(next)) {
        if (!result) {
            result = std::make_shared<RLIndexExpr>(name, 0, -1);
        }
        recordTerm(*result, nameSpan, accessor);
        return parseComparison(next, result, nameSpan.offset);
    }
    if (!result) {
        result = std::make_shared<RLExistsExpr>(name);
    }
    recordTerm(*result, nameSpan, accessor);
    return next;
}

const Token* RLParser::parseComparison(const Token* next, Expr& result, std::size_t begin) {
    const int code = next->asInteger();
    next = nextToken();
    const TextSpan literal = spanOf(*next);
    const Var value = token2value(next);
    result = makeComparison(code, result, value, next->asString());
    next = nextToken();
    record(*result, {.expression = {begin, lastEnd - begin}, .literal = literal});
    return next;
}

// A term without an accessor ends before the offset at which the accessor would begin.
void RLParser::recordTerm(const RLExpr& term, TextSpan name, std::size_t accessor) {
    record(term, {.expression = {name.offset, lastEnd - name.offset},
                  .name = name,
                  .accessor = {accessor, lastEnd > accessor ? lastEnd - accessor : 0}});
}

void RLParser::record(const RLExpr& node, const NodeSpan& span) {
    if (nodeSpans != nullptr) {
        nodeSpans->Add(node, span);
    }
}

const Token* RLParser::parseIndex(const Token* next, Expr& result, const std::string& name) {
    if (codeOf(next) != OperatorToken::OP_OPENBRACKET) {
        Poco::Bugcheck::assertion(
            "next->is(Token::OPERATOR_TOKEN) && next->asInteger() == "
            "OperatorToken::OP_OPENBRACKET",
            sourceFile, 191);
    }
    int from = 0;
    int to = -1;
    next = nextToken();
    if (next->is(Token::INTEGER_LITERAL_TOKEN)) {
        from = next->asInteger();
        next = nextToken();
    } else if (codeOf(next) != OperatorToken::OP_COLON) {
        throw SyntaxException("Expected: integer or ':'");
    }
    if (codeOf(next) == OperatorToken::OP_COLON) {
        next = nextToken();
        if (next->is(Token::INTEGER_LITERAL_TOKEN)) {
            to = next->asInteger();
            next = nextToken();
        }
    } else {
        to = from;
    }
    if (codeOf(next) != OperatorToken::OP_CLOSEBRACKET) {
        throw SyntaxException("Expected: ']'");
    }
    result = std::make_shared<RLIndexExpr>(name, from, to);
    return nextToken();
}

const Token* RLParser::parseProp(const Token* next, Expr& result, const std::string& name) {
    if (codeOf(next) != OperatorToken::OP_PERIOD) {
        Poco::Bugcheck::assertion(
            "next->is(Token::OPERATOR_TOKEN) && next->asInteger() == OperatorToken::OP_PERIOD",
            sourceFile, 228);
    }
    next = nextToken();
    if (!next->is(Token::IDENTIFIER_TOKEN)) {
        throw SyntaxException("Expected: identifier");
    }
    result = std::make_shared<RLPropExpr>(name, next->asString());
    return nextToken();
}

const Token* RLParser::parseFunc(const Token* next, Expr& result, const std::string& name) {
    if (codeOf(next) != OperatorToken::OP_OPENPARENT) {
        Poco::Bugcheck::assertion(
            "next->is(Token::OPERATOR_TOKEN) && next->asInteger() == OperatorToken::OP_OPENPARENT",
            sourceFile, 241);
    }
    next = nextToken();
    if (codeOf(next) != OperatorToken::OP_CLOSEPARENT) {
        throw SyntaxException("Expected: ')'");
    }
    result = std::make_shared<RLFuncExpr>(name);
    return nextToken();
}

Var RLParser::token2value(const Token* token) {
    switch (token->tokenClass()) {
        case Token::STRING_LITERAL_TOKEN:
            return token->asString();
        case Token::INTEGER_LITERAL_TOKEN:
            return token->asInteger64();
        case Token::FLOAT_LITERAL_TOKEN:
            return token->asFloat();
        case Token::IDENTIFIER_TOKEN:
            if (token->asString() == "true") {
                return true;
            }
            if (token->asString() == "false") {
                return false;
            }
            throw SyntaxException("Misplaced identifier", token->asString());
        default:
            throw SyntaxException("Misplaced token", token->asString());
    }
}

bool RLParser::isRelOp(const Token* token) {
    switch (codeOf(token)) {
        case OperatorToken::OP_LT:
        case OperatorToken::OP_LE:
        case OperatorToken::OP_GT:
        case OperatorToken::OP_GE:
        case OperatorToken::OP_EQ:
        case OperatorToken::OP_NE:
            return true;
        default:
            return false;
    }
}

}  // namespace velmora::core::tessaryn
