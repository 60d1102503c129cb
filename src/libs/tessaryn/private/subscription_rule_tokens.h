// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"

#include <Poco/Token.h>

#include <iosfwd>
#include <map>
#include <string>

namespace velmora::core::tessaryn {

/// Base of the rule language's tokens.
///
/// `start` returns whether the token begins with a character that was just read; `finish` reads the
/// rest of the token. `tokenString()` is the token as written. A `Poco::StreamTokenizer` reuses its
/// token objects, so the text has to be copied before the next token is read.
///
/// \threadsafety external
class TESSARYN_API SubscriptionRuleToken : public Poco::Token {
  public:
    SubscriptionRuleToken();
    ~SubscriptionRuleToken() override;
};

/// An operator, a bracket, ":" or ".".
/// \threadsafety external
class TESSARYN_API OperatorToken : public SubscriptionRuleToken {
  public:
    /// Results of `asInteger`, which returns 0 for text that is not an operator, such as "=".
    enum Operator {
        OP_OPENPARENT = 1,
        OP_CLOSEPARENT,
        OP_OPENBRACKET,
        OP_CLOSEBRACKET,
        OP_COLON,
        OP_PERIOD,
        OP_LT,
        OP_LE,
        OP_GT,
        OP_GE,
        OP_EQ,
        OP_NOT,
        OP_NE,
        OP_AND,
        OP_OR,
        OP_XOR
    };

    OperatorToken();
    ~OperatorToken() override;
    /// Whether an operator begins with the character `c`.
    bool start(char c, std::istream& in) override;
    /// Reads the rest.
    /// \throws Poco::SyntaxException when "&", "|" or "^" is not doubled
    void finish(std::istream& in) override;
    /// `OPERATOR_TOKEN`
    Class tokenClass() const override;
    /// The operator as one of `Operator`, or 0.
    int asInteger() const override;

  private:
    std::map<std::string, int> operators;
};

/// A name: a letter or "_", then letters, digits and "_".
/// \threadsafety external
class TESSARYN_API IdentifierToken : public SubscriptionRuleToken {
  public:
    IdentifierToken();
    ~IdentifierToken() override;
    /// Whether a name begins with the character `c`.
    bool start(char c, std::istream& in) override;
    /// Reads the rest.
    void finish(std::istream& in) override;
    /// `IDENTIFIER_TOKEN`
    Class tokenClass() const override;
};

/// Text in double quotes, on one line. A backslash escapes the character after it.
/// \threadsafety external
class TESSARYN_API StringLiteralToken : public SubscriptionRuleToken {
  public:
    StringLiteralToken();
    ~StringLiteralToken() override;
    /// Whether a text begins with the character `c`.
    bool start(char c, std::istream& in) override;
    /// Reads the rest.
    /// \throws Poco::SyntaxException "Unterminated string literal"
    void finish(std::istream& in) override;
    /// `STRING_LITERAL_TOKEN`
    Class tokenClass() const override;
    /// The text without the quotes and the escaping backslashes.
    std::string asString() const override;
};

/// A number: decimal, "0x" and hexadecimal digits, or with a fraction or an exponent.
/// \threadsafety external
class TESSARYN_API NumberLiteralToken : public SubscriptionRuleToken {
  public:
    NumberLiteralToken();
    ~NumberLiteralToken() override;
    /// Whether a number begins with the character `c`.
    bool start(char c, std::istream& in) override;
    /// Reads the rest.
    /// \throws Poco::SyntaxException when an exponent has no digit
    void finish(std::istream& in) override;
    /// `FLOAT_LITERAL_TOKEN` with a fraction or an exponent, else `INTEGER_LITERAL_TOKEN`.
    Class tokenClass() const override;
    /// The value. A number that begins with "0x" or "0X" is hexadecimal.
    /// \throws Poco::SyntaxException for text such as "5x1F" or "-", and for a value that is out of
    /// the result's range
    Poco::Int64 asInteger64() const override;
    /// \copydoc asInteger64
    Poco::UInt64 asUnsignedInteger64() const override;
    /// \copydoc asInteger64
    int asInteger() const override;
    /// \copydoc asInteger64
    unsigned asUnsignedInteger() const override;

  private:
    void take(std::istream& in);
    void takeDigits(std::istream& in);
    void finishExponent(std::istream& in);
    bool isHexadecimal() const;

    bool isFloat;
};

}  // namespace velmora::core::tessaryn
