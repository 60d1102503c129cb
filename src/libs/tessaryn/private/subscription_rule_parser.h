// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/text_span.h"

#include <Poco/Dynamic/Var.h>
#include <Poco/StreamTokenizer.h>
#include <Poco/Token.h>

#include <cstddef>
#include <memory>
#include <sstream>
#include <string>

namespace velmora::core::tessaryn {

class NodeSpans;
class RLExpr;
struct NodeSpan;

/// Parses a rule's text into a tree of `RLExpr` by recursive descent. docs/rule_language.md has the
/// grammar.
///
/// Each step takes the current token, which was read but not used yet, and returns the first token
/// that it did not use. No step reads further ahead, so the first error in the text is the one that
/// is reported. Groups may be nested 1,000 deep, and a text may have 100,000 relations; each group
/// counts as one relation besides those in it.
///
/// \threadsafety external
class TESSARYN_API RLParser {
  public:
    /// A parser of one text, of which it keeps a copy.
    explicit RLParser(const std::string& text);
    RLParser(const RLParser&) = delete;
    RLParser& operator=(const RLParser&) = delete;
    ~RLParser();

    /// Parses the text. To be called once.
    /// \return the tree; null for a blank text
    /// \throws RuleSyntaxException when the text is malformed or exceeds the limits above
    std::shared_ptr<RLExpr> parse();

  protected:
    /// A parser that records where each node stands in the text.
    /// \param nodeSpans \ownership observes: receives a span for each node of the tree
    RLParser(const std::string& text, NodeSpans& nodeSpans);

    /// \name Steps
    /// Each parses the part of the grammar that it is named after, and leaves `result` null when
    /// that part is empty. `name` is the name before an accessor.
    /// \throws Poco::SyntaxException when what follows is malformed
    ///@{
    /// Parses one part of the grammar.
    /// \return the first token that was not used
    const Poco::Token* parseExpr(const Poco::Token* next, std::shared_ptr<RLExpr>& result);
    const Poco::Token* parseOrExpr(const Poco::Token* next, std::shared_ptr<RLExpr>& result);
    const Poco::Token* parseAndExpr(const Poco::Token* next, std::shared_ptr<RLExpr>& result);
    const Poco::Token* parseRelExpr(const Poco::Token* next, std::shared_ptr<RLExpr>& result);
    const Poco::Token* parseProp(const Poco::Token* next, std::shared_ptr<RLExpr>& result,
                                 const std::string& name);
    const Poco::Token* parseFunc(const Poco::Token* next, std::shared_ptr<RLExpr>& result,
                                 const std::string& name);
    const Poco::Token* parseIndex(const Poco::Token* next, std::shared_ptr<RLExpr>& result,
                                  const std::string& name);
    ///@}
    /// The literal of a comparison.
    /// \throws Poco::SyntaxException when the token is not a literal
    Poco::Dynamic::Var token2value(const Poco::Token* token);
    /// Whether the token is the operator of a comparison.
    bool isRelOp(const Poco::Token* token);

  private:
    using Step = const Poco::Token* (RLParser::*)(const Poco::Token*, std::shared_ptr<RLExpr>&);

    template <class Node>
    const Poco::Token* parseOperands(const Poco::Token* next, std::shared_ptr<RLExpr>& result,
                                     int code, Step operand);
    const Poco::Token* nextToken();
    std::size_t position() const;
    TextSpan spanOf(const Poco::Token& token) const;
    TextSpan spanOfFailure() const;
    void record(const RLExpr& node, const NodeSpan& span);
    void recordTerm(const RLExpr& term, TextSpan name, std::size_t accessor);
    const Poco::Token* parseGroup(std::shared_ptr<RLExpr>& result);
    const Poco::Token* parseNamed(const Poco::Token* next, std::shared_ptr<RLExpr>& result);
    const Poco::Token* parseComparison(const Poco::Token* next, std::shared_ptr<RLExpr>& result,
                                       std::size_t begin);

    std::istringstream stream;
    Poco::StreamTokenizer* tokenizer;
    int groups = 0;
    int terms = 0;
    /// Where the token before the current one ends.
    std::size_t lastEnd = 0;
    NodeSpans* nodeSpans = nullptr;
};

}  // namespace velmora::core::tessaryn
