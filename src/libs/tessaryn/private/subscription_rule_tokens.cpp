// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/private/subscription_rule_tokens.h"

#include <Poco/Bugcheck.h>
#include <Poco/Exception.h>
#include <Poco/NumberParser.h>

#include <istream>
#include <string_view>

namespace velmora::core::tessaryn {

namespace {

constexpr int endOfText = std::char_traits<char>::eof();

// The language is ASCII, whatever the process's locale.
constexpr bool isDigit(int c) {
    return c >= '0' && c <= '9';
}

constexpr bool isHexDigit(int c) {
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

constexpr bool startsIdentifier(int c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

[[noreturn]] void throwExpected(const std::string& expected, int got) {
    throw Poco::SyntaxException("expected: " + expected +
                                ", got: " + std::string(1, static_cast<char>(got)));
}

// Poco::NumberParser reads a sign without digits as 0.
const std::string& requireDigits(const std::string& text, const char* message) {
    if (text == "+" || text == "-") {
        throw Poco::SyntaxException(message, text);
    }
    return text;
}

constexpr const char* notAnInteger = "Not a valid integer";
constexpr const char* notAnUnsignedInteger = "Not a valid unsigned integer";

}  // namespace

SubscriptionRuleToken::SubscriptionRuleToken() = default;
SubscriptionRuleToken::~SubscriptionRuleToken() = default;

OperatorToken::OperatorToken() {
    const char* const texts[] = {
        "(", ")", "[", "]", ":", ".", "<", "<=", ">", ">=", "==", "!", "!=", "&&", "||", "^^"};
    int code = OP_OPENPARENT;
    for (const char* text : texts) {
        operators[text] = code++;
    }
}

OperatorToken::~OperatorToken() = default;

bool OperatorToken::start(char c, std::istream& /*in*/) {
    constexpr std::string_view first = "!&().:<=>[]^|";
    _value = c;
    return first.find(c) != std::string_view::npos;
}

void OperatorToken::finish(std::istream& in) {
    const int next = in.peek();
    switch (_value[0]) {
        case '(':
        case ')':
        case '.':
        case ':':
        case '[':
        case ']':
            break;
        case '!':
        case '<':
        case '=':
        case '>':
            if (next == '=') {
                _value += static_cast<char>(in.get());
            }
            break;
        case '&':
        case '|':
        case '^':
            if (next != _value[0]) {
                throwExpected(_value, next);
            }
            _value += static_cast<char>(in.get());
            break;
        default:
            Poco::Bugcheck::bugcheck("src/libs/tessaryn/private/subscription_rule_tokens", 145);
    }
}

Poco::Token::Class OperatorToken::tokenClass() const {
    return OPERATOR_TOKEN;
}

int OperatorToken::asInteger() const {
    const auto entry = operators.find(_value);
    return entry == operators.end() ? 0 : entry->second;
}

IdentifierToken::IdentifierToken() = default;
IdentifierToken::~IdentifierToken() = default;

bool IdentifierToken::start(char c, std::istream& /*in*/) {
    _value = c;
    return startsIdentifier(c);
}

void IdentifierToken::finish(std::istream& in) {
    for (int c = in.peek(); startsIdentifier(c) || isDigit(c); c = in.peek()) {
        _value += static_cast<char>(in.get());
    }
}

Poco::Token::Class IdentifierToken::tokenClass() const {
    return IDENTIFIER_TOKEN;
}

StringLiteralToken::StringLiteralToken() = default;
StringLiteralToken::~StringLiteralToken() = default;

bool StringLiteralToken::start(char c, std::istream& /*in*/) {
    _value = c;
    return c == '"';
}

void StringLiteralToken::finish(std::istream& in) {
    bool escaped = false;
    while (true) {
        const int c = in.peek();
        // As an int, since as a char the code 255 equals the end of the text.
        const bool lineEnd = !escaped && (c == '\n' || c == '\r');
        if (c == endOfText || lineEnd) {
            throw Poco::SyntaxException("Unterminated string literal");
        }
        _value += static_cast<char>(in.get());
        if (c == '"' && !escaped) {
            return;
        }
        escaped = c == '\\' && !escaped;
    }
}

Poco::Token::Class StringLiteralToken::tokenClass() const {
    return STRING_LITERAL_TOKEN;
}

std::string StringLiteralToken::asString() const {
    std::string content;
    std::size_t i = !_value.empty() && _value[0] == '"' ? 1 : 0;
    for (; i < _value.size() && _value[i] != '"'; ++i) {
        if (_value[i] == '\\') {
            ++i;
        }
        if (i < _value.size()) {
            content += _value[i];
        }
    }
    return content;
}

NumberLiteralToken::NumberLiteralToken() : isFloat(false) {}
NumberLiteralToken::~NumberLiteralToken() = default;

bool NumberLiteralToken::start(char c, std::istream& in) {
    _value = c;
    return c == '+' || c == '-' || isDigit(c) || (c == '.' && isDigit(in.peek()));
}

void NumberLiteralToken::take(std::istream& in) {
    _value += static_cast<char>(in.get());
}

void NumberLiteralToken::takeDigits(std::istream& in) {
    while (isDigit(in.peek())) {
        take(in);
    }
}

void NumberLiteralToken::finish(std::istream& in) {
    isFloat = _value[0] == '.';
    if (isFloat) {
        take(in);
    } else if (in.peek() == 'x') {
        take(in);
        while (isHexDigit(in.peek())) {
            take(in);
        }
        return;
    } else {
        takeDigits(in);
        if (in.peek() == '.') {
            in.get();
            if (in.peek() == '.') {
                in.unget();
                return;
            }
            isFloat = true;
            _value += '.';
        }
    }
    takeDigits(in);
    if (in.peek() == 'e' || in.peek() == 'E') {
        finishExponent(in);
    }
}

void NumberLiteralToken::finishExponent(std::istream& in) {
    isFloat = true;
    take(in);
    if (in.peek() == '+' || in.peek() == '-') {
        take(in);
    }
    if (!isDigit(in.peek())) {
        throwExpected("digit", in.peek());
    }
    takeDigits(in);
}

Poco::Token::Class NumberLiteralToken::tokenClass() const {
    return isFloat ? FLOAT_LITERAL_TOKEN : INTEGER_LITERAL_TOKEN;
}

bool NumberLiteralToken::isHexadecimal() const {
    return _value.size() >= 2 && _value[0] == '0' && (_value[1] == 'x' || _value[1] == 'X');
}

Poco::Int64 NumberLiteralToken::asInteger64() const {
    return isHexadecimal() ? static_cast<Poco::Int64>(Poco::NumberParser::parseHex64(_value))
                           : Poco::NumberParser::parse64(requireDigits(_value, notAnInteger), ',');
}

Poco::UInt64 NumberLiteralToken::asUnsignedInteger64() const {
    return isHexadecimal() ? Poco::NumberParser::parseHex64(_value)
                           : Poco::NumberParser::parseUnsigned64(
                                 requireDigits(_value, notAnUnsignedInteger), ',');
}

int NumberLiteralToken::asInteger() const {
    return isHexadecimal() ? static_cast<int>(Poco::NumberParser::parseHex(_value))
                           : Poco::NumberParser::parse(requireDigits(_value, notAnInteger), ',');
}

unsigned NumberLiteralToken::asUnsignedInteger() const {
    return isHexadecimal() ? Poco::NumberParser::parseHex(_value)
                           : Poco::NumberParser::parseUnsigned(
                                 requireDigits(_value, notAnUnsignedInteger), ',');
}

}  // namespace velmora::core::tessaryn
