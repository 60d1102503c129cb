// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_check.h"

#include "tessaryn/dump_indent.h"
#include "tessaryn/node_spans.h"
#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/private/subscription_rule_parser.h"
#include "tessaryn/rule_checker.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/syntax_hint.h"

#include <locale>
#include <memory>
#include <sstream>

namespace velmora::core::tessaryn {

namespace {

class LocatingParser : public RLParser {
  public:
    LocatingParser(const std::string& text, NodeSpans& spans) : RLParser(text, spans) {}
};

}  // namespace

std::vector<RuleFinding> CheckRule(const std::string& text, const StreamType& type) {
    NodeSpans spans;
    std::shared_ptr<RLExpr> tree;
    try {
        tree = LocatingParser(text, spans).parse();
    } catch (const RuleSyntaxException& error) {
        const TextSpan span = error.GetSpan();
        throw RuleSyntaxException(error.message(), span, HintForSyntaxError(text, span, &type));
    }
    return RuleChecker(text, type, spans).Check(tree.get());
}

std::string DescribeRule(const std::string& text) {
    const std::shared_ptr<RLExpr> tree = RLParser(text).parse();
    std::ostringstream lines;
    lines.imbue(std::locale::classic());
    LimitIndent(lines, maxDescriptionIndent);
    if (tree) {
        tree->dump(lines, 0);
    }
    return lines.str();
}

}  // namespace velmora::core::tessaryn
