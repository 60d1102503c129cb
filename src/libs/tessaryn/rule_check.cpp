// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_check.h"

#include "tessaryn/converted_literal.h"
#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/private/subscription_rule_parser.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/syntax_hint.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

// Walks a rule's tree from left to right.
class RuleChecker {
  public:
    explicit RuleChecker(const StreamType& type) : streamType(type) {}

    std::vector<RuleFinding> Check(const RLExpr* root) {
        // A stack of our own: chains of operands are as deep as they are long.
        waiting.push_back(root);
        while (!waiting.empty()) {
            const RLExpr* const node = waiting.back();
            waiting.pop_back();
            if (node != nullptr) {
                Visit(*node);
            }
        }
        return std::move(findings);
    }

  private:
    void Visit(const RLExpr& node) {
        if (const auto* const binary = dynamic_cast<const RLBinaryExpr*>(&node)) {
            waiting.push_back(binary->rightOperand());
            waiting.push_back(binary->leftOperand());
        } else if (const auto* const negation = dynamic_cast<const RLNotExpr*>(&node)) {
            waiting.push_back(negation->negatedOperand());
        } else if (const auto* const comparison = dynamic_cast<const RLRelExpr*>(&node)) {
            VisitComparison(*comparison);
        } else {
            VisitTerm(node);
        }
    }

    // The type of the term's value; `UnknownType` when it can have none, which is a finding.
    BaseType VisitTerm(const RLExpr& term) {
        if (const auto* const index = dynamic_cast<const RLIndexExpr*>(&term)) {
            return VisitEntry(index->entryName());
        }
        if (const auto* const exists = dynamic_cast<const RLExistsExpr*>(&term)) {
            return VisitEntry(exists->entryName());
        }
        if (const auto* const property = dynamic_cast<const RLPropExpr*>(&term)) {
            return VisitProperty(property->entryName(), property->propertyName());
        }
        if (const auto* const function = dynamic_cast<const RLFuncExpr*>(&term)) {
            return VisitFunction(function->functionName());
        }
        return UnknownType;
    }

    BaseType VisitEntry(const std::string& name) {
        if (streamType.EntryExists(name)) {
            return streamType.GetType(streamType.EntryId(name));
        }
        const bool known =
            std::any_of(findings.begin(), findings.end(), [&](const RuleFinding& finding) {
                return finding.kind == RuleFinding::missingEntry && finding.name == name;
            });
        if (!known) {
            findings.push_back(
                {RuleFinding::missingEntry, name, "The stream type has no entry '" + name + "'"});
        }
        return UnknownType;
    }

    BaseType VisitProperty(const std::string& entry, const std::string& name) {
        const BaseType type = VisitEntry(entry);
        if (name == "exists") {
            return Bool;
        }
        if (name == "size") {
            return type == UnknownType ? type : UInt32;
        }
        if (name == "type") {
            return type == UnknownType ? type : String;
        }
        if (name == "front" || name == "back") {
            return type;
        }
        findings.push_back(
            {RuleFinding::unknownProperty, name,
             "There is no property '" + name + "': '" + entry + "." + name + "' has no value"});
        return UnknownType;
    }

    BaseType VisitFunction(const std::string& name) {
        constexpr std::array<std::string_view, 5> functions = {"pushed", "popped", "changed",
                                                               "true", "false"};
        if (std::find(functions.begin(), functions.end(), name) == functions.end()) {
            findings.push_back(
                {RuleFinding::unknownFunction, name,
                 "There is no function '" + name + "': '" + name + "()' is always false"});
        }
        return Bool;
    }

    void VisitComparison(const RLRelExpr& comparison) {
        const RLExpr* const left = comparison.leftOperand();
        const BaseType type = left == nullptr ? UnknownType : VisitTerm(*left);
        if (type == UnknownType || ConvertedLiteral(comparison.literal()).IsConvertibleTo(type)) {
            return;
        }
        const std::string literal = comparison.literal().toString();
        findings.push_back({RuleFinding::literalNeverFits, literal,
                            "The literal '" + literal + "' does not convert to " + ToString(type) +
                                ": the comparison '" + comparison.symbol() + " " + literal +
                                "' never holds"});
    }

    const StreamType& streamType;
    std::vector<const RLExpr*> waiting;
    std::vector<RuleFinding> findings;
};

}  // namespace

std::vector<RuleFinding> CheckRule(const std::string& text, const StreamType& type) {
    try {
        return RuleChecker(type).Check(RLParser(text).parse().get());
    } catch (const RuleSyntaxException& error) {
        const TextSpan span = error.GetSpan();
        throw RuleSyntaxException(error.message(), span, HintForSyntaxError(text, span, &type));
    }
}

std::string DescribeRule(const std::string& text) {
    const std::shared_ptr<RLExpr> tree = RLParser(text).parse();
    std::ostringstream lines;
    lines.imbue(std::locale::classic());
    if (tree) {
        tree->dump(lines, 0);
    }
    return lines.str();
}

}  // namespace velmora::core::tessaryn
