// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/base_type.h"
#include "tessaryn/node_spans.h"
#include "tessaryn/private/subscription_rule_expressions.h"
#include "tessaryn/rule_finding.h"
#include "tessaryn/size_guards.h"

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::core::tessaryn {

class StreamType;

/// Visits the tree of a rule and collects findings.
///
/// Uses an explicit stack, since a chain of operands is as deep as it is long.
class RuleChecker {
  public:
    /// \param text \ownership observes
    /// \param type \ownership observes
    /// \param spans \ownership observes: the spans of the tree that is checked
    RuleChecker(std::string_view text, const StreamType& type, const NodeSpans& spans);

    /// \param root null for an empty rule
    std::vector<RuleFinding> Check(const RLExpr* root);

  private:
    /// A node whose value as a Boolean is needed.
    struct Operand {
        const RLExpr* node;
        const SizeGuard* guards;
        /// The operator, and the side of it on which the node stands.
        TextSpan operatorSpan;
        const char* side;
    };

    /// The result of a term for a new sample.
    enum class Outcome : unsigned char {
        noValue,     ///< in no sample
        reversed,    ///< no elements in any sample: the first index is greater than the last
        beyondSize,  ///< no element of the index
        noElements,  ///< no elements until the entry is resized
        one,
        several,
        throws  ///< has been reported
    };
    struct Term {
        Outcome outcome = Outcome::noValue;
        /// Of the value, or of each element.
        BaseType type = UnknownType;
    };

    void Visit(const Operand& operand);
    void PushOperands(const RLBinaryExpr& last, const SizeGuard* guards);
    void CheckUncompared(const RLExpr& node, const SizeGuard* guards);
    void ReportUncomparedValue(const RLExpr& node, BaseType valueType);
    void CheckBareEntry(const RLExistsExpr& exists);
    void CheckComparison(const RLRelExpr& comparison, const SizeGuard* guards);
    void CheckLiteral(const RLRelExpr& comparison, BaseType valueType);
    void CheckNeverHolds(const RLRelExpr& comparison, Term left);

    Term CheckTerm(const RLExpr& node, const SizeGuard* guards);
    Term CheckIndex(const RLIndexExpr& index, const SizeGuard* guards);
    Term CheckProperty(const RLPropExpr& property, const SizeGuard* guards);
    Term CheckElement(const RLPropExpr& property, const SizeGuard* guards);
    Term CheckFunction(const RLFuncExpr& function);
    bool CheckEntry(const RLExpr& node, const std::string& name);

    std::string TextOf(TextSpan span) const;
    std::string SuggestEntry(const std::string& name);
    void Report(RuleFinding::Kind kind, std::string name, TextSpan span, std::string message,
                std::string hint = {});
    void ReportThrowing(const RLExpr& node, const std::string& reason, std::string hint = {});

    std::string_view text;
    const StreamType& type;
    const NodeSpans& spans;
    SizeGuards sizeGuards;
    std::vector<Operand> waiting;
    std::vector<RuleFinding> findings;
    std::set<std::string> missingEntries;
    /// Names of entries that a rule can contain; filled when first needed.
    std::vector<std::string> candidates;
    /// How many candidates may still be compared with missing names.
    std::size_t comparisonsLeft;
};

}  // namespace velmora::core::tessaryn
