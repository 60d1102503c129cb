// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"

#include <Poco/Token.h>

#include <iosfwd>
#include <map>
#include <string>

namespace velmora::core::tessaryn {

/// Common base of the rule language's tokens.
///
/// `start` is offered a character that was read and tells whether the token begins with it;
/// `finish` reads the rest. A token's text is its `tokenString()`. A tokenizer hands out the same
/// token objects again and again.
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
    /// What `asInteger` gives; 0 stands for text that is no operator, such as a single "=".
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
    /// Whether the token begins with a character.
    /// \param c the character that was read
    /// \param in what follows
    bool start(char c, std::istream& in) override;
    /// Reads the rest of the token.
    /// \param in what follows
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
    /// Whether the token begins with a character.
    /// \param c the character that was read
    /// \param in what follows
    bool start(char c, std::istream& in) override;
    /// Reads the rest of the token.
    /// \param in what follows
    void finish(std::istream& in) override;
    /// `IDENTIFIER_TOKEN`
    Class tokenClass() const override;
};

/// Text in double quotes on one line; a backslash stands before a character to be taken as it is.
/// \threadsafety external
class TESSARYN_API StringLiteralToken : public SubscriptionRuleToken {
  public:
    StringLiteralToken();
    ~StringLiteralToken() override;
    /// Whether the token begins with a character.
    /// \param c the character that was read
    /// \param in what follows
    bool start(char c, std::istream& in) override;
    /// Reads the rest of the token.
    /// \param in what follows
    /// \throws Poco::SyntaxException "Unterminated string literal"
    void finish(std::istream& in) override;
    /// `STRING_LITERAL_TOKEN`
    Class tokenClass() const override;
    /// The text without quotes and backslashes.
    std::string asString() const override;
};

/// A number: decimal, "0x" and hexadecimal digits, or with a fraction or an exponent.
/// \threadsafety external
class TESSARYN_API NumberLiteralToken : public SubscriptionRuleToken {
  public:
    NumberLiteralToken();
    ~NumberLiteralToken() override;
    /// Whether the token begins with a character.
    /// \param c the character that was read
    /// \param in what follows
    bool start(char c, std::istream& in) override;
    /// Reads the rest of the token.
    /// \param in what follows
    /// \throws Poco::SyntaxException when an exponent has no digit
    void finish(std::istream& in) override;
    /// `FLOAT_LITERAL_TOKEN` with a fraction or an exponent, else `INTEGER_LITERAL_TOKEN`.
    Class tokenClass() const override;
    /// The number.
    /// \throws Poco::SyntaxException when the text is no number, or too large for the result
    Poco::Int64 asInteger64() const override;
    /// The number.
    /// \throws Poco::SyntaxException as above
    Poco::UInt64 asUnsignedInteger64() const override;
    /// The number.
    /// \throws Poco::SyntaxException as above
    int asInteger() const override;
    /// The number.
    /// \throws Poco::SyntaxException as above
    unsigned asUnsignedInteger() const override;

  private:
    void take(std::istream& in);
    void takeDigits(std::istream& in);
    void finishExponent(std::istream& in);
    bool isHexadecimal() const;

    bool isFloat;
};

}  // namespace velmora::core::tessaryn
