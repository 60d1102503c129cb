// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"

#include <Poco/Dynamic/Var.h>
#include <Poco/StreamTokenizer.h>
#include <Poco/Token.h>

#include <memory>
#include <sstream>
#include <string>

namespace velmora::core::tessaryn {

class RLExpr;

/// Turns a text of the rule language into a tree of `RLExpr` by recursive descent.
///
/// From the loosest binding to the tightest, all operators left-associative:
///
///     expression = or { "^^" or }
///     or         = and { "||" and }
///     and        = relation { "&&" relation }
///     relation   = [ "!" ] ( "(" expression ")" | name [ accessor ] [ comparison ] | nothing )
///     accessor   = "(" ")" | "[" index "]" | "." name
///     index      = i | i ":" j | i ":" | ":" j | ":"
///     comparison = ( "<" | "<=" | ">" | ">=" | "==" | "!=" ) literal
///
/// A bare name may not stand directly before "&&", "||" or "^^": it is put in parentheses there.
/// Each step takes the current token, read but not used, and returns the first one that it did not
/// use. Tokens are read one ahead, so an error of the parser comes before one in a later token.
/// Groups may be nested 1,000 deep, and an expression may have 100,000 relations, each group being
/// one besides what it holds.
///
/// \threadsafety external: one parser, one text, one thread
class TESSARYN_API RLParser {
  public:
    /// \param text the expression
    explicit RLParser(const std::string& text);
    RLParser(const RLParser&) = delete;
    RLParser& operator=(const RLParser&) = delete;
    ~RLParser();

    /// Parses the whole text.
    /// \return the tree; null for a blank text
    /// \throws Poco::SyntaxException when the text is malformed, or nested or long beyond the
    /// limits
    std::shared_ptr<RLExpr> parse();

  protected:
    /// \name Steps
    /// A step that recognises nothing leaves its result empty.
    /// \throws Poco::SyntaxException when what follows is malformed
    ///@{
    /// Recognises the part of the grammar that the step is named after.
    /// \param next the current token
    /// \param result receives the tree
    /// \return the first token that was not used
    const Poco::Token* parseExpr(const Poco::Token* next, std::shared_ptr<RLExpr>& result);
    const Poco::Token* parseOrExpr(const Poco::Token* next, std::shared_ptr<RLExpr>& result);
    const Poco::Token* parseAndExpr(const Poco::Token* next, std::shared_ptr<RLExpr>& result);
    const Poco::Token* parseRelExpr(const Poco::Token* next, std::shared_ptr<RLExpr>& result);
    /// An accessor, after the name that it belongs to.
    /// \param next the current token
    /// \param result receives the tree
    /// \param name the name before the accessor
    /// \return the first token that was not used
    const Poco::Token* parseProp(const Poco::Token* next, std::shared_ptr<RLExpr>& result,
                                 const std::string& name);
    /// \copydoc parseProp
    const Poco::Token* parseFunc(const Poco::Token* next, std::shared_ptr<RLExpr>& result,
                                 const std::string& name);
    /// \copydoc parseProp
    const Poco::Token* parseIndex(const Poco::Token* next, std::shared_ptr<RLExpr>& result,
                                  const std::string& name);
    ///@}
    /// The literal of a comparison.
    /// \param token the current token
    /// \throws Poco::SyntaxException when the token is no literal
    Poco::Dynamic::Var token2value(const Poco::Token* token);
    /// Whether the token is the operator of a comparison.
    /// \param token the current token
    bool isRelOp(const Poco::Token* token);

  private:
    using Step = const Poco::Token* (RLParser::*)(const Poco::Token*, std::shared_ptr<RLExpr>&);

    template <class Node>
    const Poco::Token* parseOperands(const Poco::Token* next, std::shared_ptr<RLExpr>& result,
                                     int code, Step operand);
    const Poco::Token* parseGroup(std::shared_ptr<RLExpr>& result);
    const Poco::Token* parseNamed(const Poco::Token* next, std::shared_ptr<RLExpr>& result);
    const Poco::Token* parseComparison(const Poco::Token* next, std::shared_ptr<RLExpr>& result);

    std::istringstream stream;
    Poco::StreamTokenizer* tokenizer;
    int groups = 0;
    int terms = 0;
};

}  // namespace velmora::core::tessaryn
