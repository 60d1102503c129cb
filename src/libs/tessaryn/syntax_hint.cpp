// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/syntax_hint.h"

#include "tessaryn/rule_names.h"
#include "tessaryn/stream_type.h"

#include <Poco/Ascii.h>
#include <Poco/String.h>

#include <algorithm>
#include <array>

namespace velmora::core::tessaryn {

namespace {

// Longer names and texts of the rule are not quoted.
constexpr std::size_t maxQuoted = 40;

constexpr std::string_view blanks = " \t\n\v\f\r";

// The position at which parsing failed.
struct Failure {
    std::string_view text;
    // The token at which parsing failed; empty at the end of the text.
    std::string_view token;
    // The text before the token, without blanks at its end.
    std::string_view before;
    // The characters directly before and behind the token.
    std::string_view left;
    std::string_view right;
    const StreamType* type;
};

bool IsOneOf(std::string_view token, std::initializer_list<std::string_view> tokens) {
    return std::find(tokens.begin(), tokens.end(), token) != tokens.end();
}

bool IsComparison(std::string_view token) {
    return IsOneOf(token, {"<", "<=", ">", ">=", "==", "!="});
}

bool IsDigit(char c) {
    return Poco::Ascii::isDigit(c);
}

bool EndsWithDigit(std::string_view text) {
    return !text.empty() && IsDigit(text.back());
}

bool BeginsWithDigit(std::string_view text) {
    return !text.empty() && IsDigit(text.front());
}

bool EndsWithComparison(std::string_view text) {
    return !text.empty() && (text.back() == '<' || text.back() == '>' || text.back() == '=');
}

std::string_view TrimRight(std::string_view text) {
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

// The name, or the end of a number, that a text ends with.
std::string_view LastWord(std::string_view text) {
    std::size_t begin = text.size();
    while (begin > 0 && (Poco::Ascii::isAlphaNumeric(text[begin - 1]) || text[begin - 1] == '_')) {
        --begin;
    }
    return text.substr(begin);
}

std::string_view LeadingDigits(std::string_view text) {
    return text.substr(0, std::min(text.find_first_not_of("0123456789"), text.size()));
}

std::string InQuotes(std::string_view text) {
    return '"' + std::string(text) + '"';
}

std::string Write(std::string_view right, std::string_view wrong) {
    return "write '" + std::string(right) + "' instead of '" + std::string(wrong) + "'";
}

// The operator for a word such as "and"; empty for any other word.
std::string_view OperatorForWord(std::string_view word) {
    if (word.empty() || word.size() > 3) {
        return {};
    }
    const std::string lower = Poco::toLower(std::string(word));
    constexpr std::array<std::array<std::string_view, 2>, 4> operators = {
        {{"and", "&&"}, {"or", "||"}, {"xor", "^^"}, {"not", "!"}}};
    for (const auto& [name, symbol] : operators) {
        if (lower == name) {
            return symbol;
        }
    }
    return {};
}

// "x = 5", "x === 5", "x => 5", "x > = 5", "x := 5"
std::string HintForEqualsSign(const Failure& at) {
    if (at.token == ":" && at.right.starts_with('=')) {
        return Write("==", ":=");
    }
    if (at.token != "=") {
        return {};
    }
    if (at.left.ends_with("==")) {
        return Write("==", "===");
    }
    if (at.right.starts_with('>') || at.right.starts_with('<') || at.right.starts_with('!')) {
        return Write(at.right.substr(0, 1) == "!" ? "!=" : std::string(at.right.substr(0, 1)) + '=',
                     '=' + std::string(at.right.substr(0, 1)));
    }
    if (EndsWithComparison(at.before) && at.before.size() < at.left.size()) {
        return "write '" + std::string(at.before.substr(at.before.size() - 1)) +
               "=' without a blank";
    }
    return Write("==", "=");
}

// "x <> 5"
std::string HintForNotEqual(const Failure& at) {
    return at.token == ">" && at.left.ends_with('<') ? Write("!=", "<>") : "";
}

// "x > 1 and y > 2", "x > 1 & y > 2", "not x > 1", "not (x > 1)"
std::string HintForOperatorWord(const Failure& at) {
    const std::string_view symbol = OperatorForWord(at.token);
    if (!symbol.empty()) {
        return Write(symbol, at.token);
    }
    if (IsOneOf(at.token, {"&", "|", "^"})) {
        return Write(std::string(at.token) + std::string(at.token), at.token);
    }
    const bool inParentheses = at.before.ends_with('(');
    const std::string_view word =
        LastWord(inParentheses ? TrimRight(at.before.substr(0, at.before.size() - 1)) : at.before);
    return OperatorForWord(word) == "!" ? Write("!", word) : "";
}

// "state == 'fault'", with quotation marks of any kind
std::string HintForQuotes(const Failure& at) {
    if (at.token == "'" || at.token == "`") {
        const std::string_view text = at.right.substr(0, at.right.find(at.token));
        if (text.size() < at.right.size() && text.size() <= maxQuoted) {
            return "write a text in double quotes: " + InQuotes(text);
        }
        return "write a text in double quotes";
    }
    // U+2018 to U+201F, of which the token is the first byte.
    constexpr std::string_view mark = "\xE2\x80";
    const std::size_t begin = at.left.size();
    const bool isMark = at.text.substr(begin).starts_with(mark) && begin + 2 < at.text.size() &&
                        (static_cast<unsigned char>(at.text[begin + 2]) & 0xF8U) == 0x98U;
    return isMark ? "write a text in double quotes" : "";
}

// Letters outside of ASCII in a name.
std::string HintForOtherLetters(const Failure& at) {
    return !at.token.empty() && !Poco::Ascii::isAscii(static_cast<unsigned char>(at.token.front()))
               ? "a name has the letters a to z and A to Z, digits and '_'"
               : "";
}

// "!!x"
std::string HintForSecondNegation(const Failure& at) {
    return at.token == "!" && at.before.ends_with('!') ? "write '!(!' and ')' for two negations"
                                                       : "";
}

// "x > .5", "x > 8,5"
std::string HintForDecimal(const Failure& at) {
    const std::string_view digits = LeadingDigits(at.right);
    if (digits.empty() || digits.size() > maxQuoted) {
        return {};
    }
    if (at.token == "." && EndsWithComparison(at.before)) {
        return Write("0." + std::string(digits), "." + std::string(digits));
    }
    const std::string_view number = LastWord(at.left);
    if (at.token == "," && EndsWithDigit(at.left) && BeginsWithDigit(number) &&
        number.size() <= maxQuoted) {
        return Write(std::string(number) + '.' + std::string(digits),
                     std::string(number) + ',' + std::string(digits));
    }
    return {};
}

// "x == fault", "x == True", "x > y"
std::string HintForLiteral(const Failure& at) {
    if (!EndsWithComparison(at.before) || !IsRuleName(at.token) || at.token.size() > maxQuoted) {
        return {};
    }
    const std::string name(at.token);
    const std::string lower = Poco::toLower(name);
    if (lower == "true" || lower == "false") {
        return Write(lower, name);
    }
    if (at.type == nullptr) {
        return "write a text in double quotes: " + InQuotes(name) +
               "; two entries cannot be compared";
    }
    return at.type->EntryExists(name) ? "two entries cannot be compared: '" + name + "' is an entry"
                                      : "write a text in double quotes: " + InQuotes(name);
}

// "x == 1 == 2", "1 < x < 2", "(x) == 1"
std::string HintForComparison(const Failure& at) {
    if (!IsComparison(at.token) || at.before.empty() || EndsWithComparison(at.before)) {
        return {};
    }
    if (at.before.ends_with(')')) {
        return "a group cannot be compared: compare each term in it";
    }
    return "a term has one comparison: join two comparisons with '&&'";
}

// "5 < x"
std::string HintForLiteralOnTheLeft(const Failure& at) {
    const bool isLiteral =
        at.token.starts_with('"') || BeginsWithDigit(at.token) ||
        ((at.token.starts_with('-') || at.token.starts_with('+')) && at.token.size() > 1);
    const bool beginsRelation = at.before.empty() || at.before.ends_with('(') ||
                                at.before.ends_with('!') || at.before.ends_with("&&") ||
                                at.before.ends_with("||") || at.before.ends_with("^^");
    return isLiteral && beginsRelation ? "write the literal on the right, as in 'x > 5'" : "";
}

// "x + 1 > 2", "x -1 > 2", "x / y > 2"
std::string HintForArithmetic(const Failure& at) {
    constexpr std::string_view operators = "+-*/%";
    const bool isOperator =
        !at.token.empty() && operators.find(at.token.front()) != std::string_view::npos;
    return isOperator && !at.before.empty() && !EndsWithComparison(at.before)
               ? "a rule cannot calculate: compare an entry with a literal"
               : "";
}

// "rising(x > 5)"
std::string HintForArgument(const Failure& at) {
    if (at.token == ")" || !at.before.ends_with('(')) {
        return {};
    }
    const std::string_view name = LastWord(TrimRight(at.before.substr(0, at.before.size() - 1)));
    return IsRuleName(name) ? "a function takes no arguments" : "";
}

// "door && x > 5"
std::string HintForBareName(const Failure& at) {
    const std::string_view name = LastWord(at.before);
    if (!IsOneOf(at.token, {"&&", "||", "^^"}) || !IsRuleName(name) || name.size() > maxQuoted) {
        return {};
    }
    return "compare '" + std::string(name) + "' with a literal, as in '" + std::string(name) +
           " == true'";
}

// "tank 1 > 5"
std::string HintForEntryWithoutRuleName(const Failure& at) {
    if (at.type == nullptr) {
        return {};
    }
    const std::size_t place = at.left.size();
    for (const std::string& name : FindEntriesWithoutRuleName(*at.type)) {
        if (name.size() > maxQuoted) {
            continue;
        }
        // Occurrences that the failure lies in.
        const std::size_t begin = place - std::min(place, name.size());
        if (at.text.substr(begin, 2 * name.size()).find(name) != std::string_view::npos) {
            return "a rule cannot name the entry '" + name + "'";
        }
    }
    return {};
}

}  // namespace

std::string HintForSyntaxError(std::string_view text, TextSpan failure, const StreamType* type) {
    const std::string_view left = text.substr(0, failure.offset);
    const Failure at = {text, text.substr(failure.offset, failure.length),  TrimRight(left),
                        left, text.substr(failure.offset + failure.length), type};
    // The first of these that has a hint. Each is described by the mistakes that it recognises.
    for (const auto hintFor :
         {HintForEntryWithoutRuleName, HintForEqualsSign, HintForNotEqual, HintForOperatorWord,
          HintForQuotes, HintForOtherLetters, HintForSecondNegation, HintForDecimal, HintForLiteral,
          HintForComparison, HintForArgument, HintForLiteralOnTheLeft, HintForArithmetic,
          HintForBareName}) {
        std::string hint = hintFor(at);
        if (!hint.empty()) {
            return hint;
        }
    }
    return {};
}

}  // namespace velmora::core::tessaryn
