// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/rule_checker.h"

#include "tessaryn/comparison_check.h"
#include "tessaryn/expression_visitor.h"
#include "tessaryn/name_suggestion.h"
#include "tessaryn/overloaded.h"
#include "tessaryn/rule_names.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/value_traits.h"

#include <algorithm>
#include <array>
#include <typeinfo>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

// A rule with many missing names, for a type with many entries, gets suggestions for the first.
constexpr std::size_t maxComparisons = 100'000;

const std::vector<std::string>& Properties() {
    static const std::vector<std::string> properties = {"type", "size", "exists", "front", "back"};
    return properties;
}

const std::vector<std::string>& Functions() {
    static const std::vector<std::string> functions = {"pushed", "popped", "changed", "true",
                                                       "false"};
    return functions;
}

bool Contains(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string Quote(const std::string& text) {
    return "'" + text + "'";
}

std::string DidYouMean(const std::string& name) {
    return name.empty() ? name : "did you mean " + Quote(name) + "?";
}

std::string SuggestProperty(const std::string& name) {
    constexpr std::array<std::array<std::string_view, 2>, 5> synonyms = {{{"length", "size"},
                                                                          {"len", "size"},
                                                                          {"count", "size"},
                                                                          {"first", "front"},
                                                                          {"last", "back"}}};
    for (const auto& [synonym, property] : synonyms) {
        if (name == synonym) {
            return DidYouMean(std::string(property));
        }
    }
    return DidYouMean(FindClosestName(name, Properties()));
}

// As the property "type" has it.
std::string TypeNameOf(BaseType type) {
    return traits::ElementSize(type) == 0 ? "Unknown" : ToString(type);
}

std::string CountElements(unsigned int count) {
    return std::to_string(count) + (count == 1 ? " element" : " elements");
}

}  // namespace

RuleChecker::RuleChecker(std::string_view text, const StreamType& type, const NodeSpans& spans)
    : text(text), type(type), spans(spans), comparisonsLeft(maxComparisons) {}

std::vector<RuleFinding> RuleChecker::Check(const RLExpr* root) {
    if (root == nullptr) {
        Report(RuleFinding::missingOperand, "", {0, text.size()},
               "The rule is empty: evaluation throws");
        return std::move(findings);
    }
    waiting.push_back({root, nullptr, {}, ""});
    while (!waiting.empty()) {
        const Operand operand = waiting.back();
        waiting.pop_back();
        Visit(operand);
    }
    std::stable_sort(findings.begin(), findings.end(),
                     [](const RuleFinding& left, const RuleFinding& right) {
                         return left.span.offset < right.span.offset;
                     });
    return std::move(findings);
}

void RuleChecker::Visit(const Operand& operand) {
    const SizeGuard* const guards = operand.guards;
    if (operand.node == nullptr) {
        const std::string name = TextOf(operand.operatorSpan);
        Report(RuleFinding::missingOperand, name, operand.operatorSpan,
               "The operator " + Quote(name) + " has no " + operand.side +
                   "operand: evaluation throws");
        return;
    }
    VisitExpression(
        *operand.node,
        Overloaded{
            [&](const RLBinaryExpr& node) { PushOperands(node, guards); },
            [&](const RLNotExpr& node) {
                waiting.push_back({node.negatedOperand(), guards, spans.Get(node).expression, ""});
            },
            [&](const RLRelExpr& node) { CheckComparison(node, guards); },
            [&](const RLExistsExpr& node) { CheckBareEntry(node); },
            [&](const RLExpr& node) { CheckUncompared(node, guards); },
        });
}

void RuleChecker::PushOperands(const RLBinaryExpr& last, const SizeGuard* guards) {
    // The nodes of one operator, from the last to the first.
    std::vector<const RLBinaryExpr*> chain = {&last};
    const RLExpr* left = last.leftOperand();
    while (left != nullptr && typeid(*left) == typeid(last)) {
        chain.push_back(static_cast<const RLBinaryExpr*>(left));
        left = chain.back()->leftOperand();
    }
    const bool isAnd = typeid(last) == typeid(RLAndExpr);
    const bool isXor = typeid(last) == typeid(RLXorExpr);
    std::vector<Operand> operands = {{left, guards, spans.Get(*chain.back()).expression, "left "}};
    for (auto node = chain.rbegin(); node != chain.rend(); ++node) {
        if (!isXor) {
            guards = sizeGuards.After(operands.back().node, isAnd, guards);
        }
        operands.push_back(
            {(*node)->rightOperand(), guards, spans.Get(**node).expression, "right "});
    }
    waiting.insert(waiting.end(), operands.rbegin(), operands.rend());
}

void RuleChecker::CheckUncompared(const RLExpr& node, const SizeGuard* guards) {
    const Term term = CheckTerm(node, guards);
    switch (term.outcome) {
        case Outcome::noValue:
            ReportThrowing(node, "has no value");
            break;
        case Outcome::reversed:
            ReportThrowing(node, "has no value, since its first index is greater than its last");
            break;
        case Outcome::beyondSize:
        case Outcome::noElements:
            ReportThrowing(node, "has no value in a new sample");
            break;
        case Outcome::several:
            ReportThrowing(node, "is several elements, which are not compared",
                           "write '" + TextOf(spans.Get(node).expression) + " != 0'");
            break;
        case Outcome::one:
            if (term.type != Bool) {
                ReportUncomparedValue(node, term.type);
            }
            break;
        case Outcome::throws:
            break;
    }
}

void RuleChecker::ReportUncomparedValue(const RLExpr& node, BaseType valueType) {
    const NodeSpan& span = spans.Get(node);
    const std::string term = TextOf(span.expression);
    const bool isText = valueType == String;
    Report(RuleFinding::uncomparedValue, TextOf(span.name), span.expression,
           Quote(term) + " is not compared: it is true unless it is " +
               (isText ? "empty, \"0\" or \"false\"" : "0"),
           isText ? "compare it with a text, as in '" + term + " == \"text\"'"
                  : "write '" + term + " != 0'");
}

void RuleChecker::CheckBareEntry(const RLExistsExpr& exists) {
    const std::string& name = exists.entryName();
    if (!CheckEntry(exists, name)) {
        return;
    }
    const BaseType entryType = type.GetType(type.EntryId(name));
    const std::string comparison = entryType == Bool     ? " == true"
                                   : entryType == String ? ".size > 0"
                                                         : " != 0";
    Report(RuleFinding::uncomparedEntry, name, spans.Get(exists).name,
           Quote(name) + " is true because the entry exists, whatever its value",
           "write '" + name + comparison + "', or '" + name + ".exists' if this is meant");
}

void RuleChecker::CheckComparison(const RLRelExpr& comparison, const SizeGuard* guards) {
    const RLExpr* const left = comparison.leftOperand();
    const Term term = left == nullptr ? Term() : CheckTerm(*left, guards);
    if (term.type == UnknownType) {
        return;
    }
    if (term.outcome == Outcome::beyondSize) {
        const NodeSpan& span = spans.Get(*left);
        const std::string name = TextOf(span.name);
        const unsigned int size = type.GetEntry(type.EntryId(name)).initialSize;
        Report(RuleFinding::indexBeyondSize, name, span.accessor,
               Quote(name) + " has " + CountElements(size) +
                   " in a new sample: " + Quote(TextOf(span.expression)) + " has no value",
               "the last element is '" + name + "[" + std::to_string(size - 1) + "]'");
    }
    if (!ConvertsTo(comparison, term.type)) {
        CheckLiteral(comparison, term.type);
    } else if (term.outcome != Outcome::throws) {
        CheckNeverHolds(comparison, term);
    }
}

void RuleChecker::CheckLiteral(const RLRelExpr& comparison, BaseType valueType) {
    const TextSpan span = spans.Get(comparison).literal;
    const std::string literal = TextOf(span);
    std::string hint;
    if (ConvertsAsInteger(comparison, valueType)) {
        hint = "write the number without a fraction";
    } else if (!comparison.literal().isString()) {
        hint = DescribeRange(valueType);
    }
    Report(RuleFinding::literalNeverFits, literal, span,
           "The literal " + Quote(literal) + " does not convert to " + ToString(valueType) +
               ": the comparison never holds",
           std::move(hint));
}

void RuleChecker::CheckNeverHolds(const RLRelExpr& comparison, Term left) {
    const NodeSpan& term = spans.Get(*comparison.leftOperand());
    const std::string name = TextOf(term.name);
    std::string reason;
    std::string hint;
    if (left.outcome == Outcome::reversed) {
        reason = "The first index is greater than the last";
    } else if (const auto* const property =
                   dynamic_cast<const RLPropExpr*>(comparison.leftOperand());
               property != nullptr && property->propertyName() == "type") {
        const std::string typeName = TypeNameOf(type.GetType(type.EntryId(name)));
        if (!HoldsForText(comparison, typeName)) {
            reason = "The type of " + Quote(name) + " is \"" + typeName + '"';
        }
    } else if (left.type == String && property == nullptr && !HoldsForSomeText(comparison)) {
        reason = "An entry without characters has no value";
        hint = "write '" + name + ".size == 0'";
    } else {
        reason = ExplainNeverHolds(comparison, left.type);
    }
    if (!reason.empty()) {
        Report(RuleFinding::neverHolds, name, spans.Get(comparison).expression,
               reason + ": the comparison never holds", std::move(hint));
    }
}

RuleChecker::Term RuleChecker::CheckTerm(const RLExpr& node, const SizeGuard* guards) {
    return VisitExpression(
        node, Overloaded{
                  [&](const RLIndexExpr& index) { return CheckIndex(index, guards); },
                  [&](const RLPropExpr& property) { return CheckProperty(property, guards); },
                  [&](const RLFuncExpr& function) { return CheckFunction(function); },
                  [&](const RLExpr& /*other*/) { return Term(); },
              });
}

RuleChecker::Term RuleChecker::CheckIndex(const RLIndexExpr& index, const SizeGuard* guards) {
    const std::string& name = index.entryName();
    if (!CheckEntry(index, name)) {
        return {};
    }
    const SampleEntry entry = type.GetEntry(type.EntryId(name));
    if (traits::ElementSize(entry.type) == 0) {
        return {};
    }
    const long long size = entry.initialSize;
    const long long from = std::max(index.first(), 0);
    if (index.last() >= 0 && from > index.last()) {
        return {Outcome::reversed, entry.type};
    }
    if (from >= size) {
        if (size == 0 && SizeGuards::HasElements(name, guards)) {
            return {Outcome::one, entry.type};
        }
        // A text gets its size when it is set.
        const bool isResized = size == 0 || entry.type == String;
        return {isResized ? Outcome::noElements : Outcome::beyondSize, entry.type};
    }
    const long long to = index.last() < 0 ? size - 1 : std::min<long long>(index.last(), size - 1);
    return {from == to ? Outcome::one : Outcome::several, entry.type};
}

RuleChecker::Term RuleChecker::CheckProperty(const RLPropExpr& property, const SizeGuard* guards) {
    const std::string& name = property.propertyName();
    const bool exists = CheckEntry(property, property.entryName());
    if (name == "exists") {
        return {Outcome::one, Bool};
    }
    if (!Contains(Properties(), name)) {
        const NodeSpan& span = spans.Get(property);
        const std::size_t end = span.accessor.offset + span.accessor.length;
        Report(RuleFinding::unknownProperty, name, {end - name.size(), name.size()},
               "There is no property " + Quote(name) + ": " + Quote(TextOf(span.expression)) +
                   " has no value",
               SuggestProperty(name));
        return {};
    }
    if (!exists) {
        return {};
    }
    if (name == "size" || name == "type") {
        return {Outcome::one, name == "size" ? UInt32 : String};
    }
    return CheckElement(property, guards);
}

// "front" and "back" of an entry that exists.
RuleChecker::Term RuleChecker::CheckElement(const RLPropExpr& property, const SizeGuard* guards) {
    const std::string& name = property.entryName();
    const SampleEntry entry = type.GetEntry(type.EntryId(name));
    if (traits::ElementSize(entry.type) == 0) {
        return {};
    }
    if (entry.type != String && entry.initialSize == 0 && !SizeGuards::HasElements(name, guards)) {
        ReportThrowing(property, "needs an element, which a new sample does not have",
                       "test the size first, as in '" + name + ".size > 0 && ...'");
        return {Outcome::throws, entry.type};
    }
    return {Outcome::one, entry.type};
}

RuleChecker::Term RuleChecker::CheckFunction(const RLFuncExpr& function) {
    const std::string& name = function.functionName();
    if (!Contains(Functions(), name)) {
        Report(
            RuleFinding::unknownFunction, name, spans.Get(function).expression,
            "There is no function " + Quote(name) + ": " + Quote(name + "()") + " is always false",
            type.EntryExists(name) ? Quote(name) + " is an entry: write it without parentheses"
                                   : DidYouMean(FindClosestName(name, Functions())));
    }
    return {Outcome::one, Bool};
}

bool RuleChecker::CheckEntry(const RLExpr& node, const std::string& name) {
    if (type.EntryExists(name)) {
        return true;
    }
    if (missingEntries.insert(name).second) {
        Report(RuleFinding::missingEntry, name, spans.Get(node).name,
               "The stream type has no entry " + Quote(name), SuggestEntry(name));
    }
    return false;
}

std::string RuleChecker::TextOf(TextSpan span) const {
    return std::string(text.substr(span.offset, span.length));
}

std::string RuleChecker::SuggestEntry(const std::string& name) {
    if (Contains(Functions(), name)) {
        return DidYouMean(name + "()");
    }
    if (candidates.empty()) {
        candidates = type.GetEntryNames();
        std::erase_if(candidates, [](const std::string& entry) { return !IsRuleName(entry); });
    }
    if (candidates.size() > comparisonsLeft) {
        return {};
    }
    comparisonsLeft -= candidates.size();
    return DidYouMean(FindClosestName(name, candidates));
}

void RuleChecker::Report(RuleFinding::Kind kind, std::string name, TextSpan span,
                         std::string message, std::string hint) {
    findings.push_back({kind, std::move(name), std::move(message), span, std::move(hint)});
}

void RuleChecker::ReportThrowing(const RLExpr& node, const std::string& reason, std::string hint) {
    const NodeSpan& span = spans.Get(node);
    Report(RuleFinding::evaluationThrows, TextOf(span.name), span.expression,
           Quote(TextOf(span.expression)) + " " + reason + ": evaluation throws", std::move(hint));
}

}  // namespace velmora::core::tessaryn
