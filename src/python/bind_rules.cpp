// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "bind_rules.h"

#include "entry_table.h"
#include "entry_value.h"
#include "rule_record.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/sample.h"
#include "tessaryn/subscription_args.h"
#include "type_record.h"

#include <string>

namespace velmora::python {

using core::tessaryn::RuleFinding;
using core::tessaryn::Sample;
using core::tessaryn::TextSpan;

namespace {

const char* KindName(RuleFinding::Kind kind) {
    switch (kind) {
        case RuleFinding::missingEntry:
            return "missing entry";
        case RuleFinding::unknownProperty:
            return "unknown property";
        case RuleFinding::unknownFunction:
            return "unknown function";
        case RuleFinding::literalNeverFits:
            return "literal never fits";
        case RuleFinding::missingOperand:
            return "missing operand";
        case RuleFinding::evaluationThrows:
            return "evaluation throws";
        case RuleFinding::uncomparedValue:
            return "uncompared value";
        case RuleFinding::uncomparedEntry:
            return "uncompared entry";
        case RuleFinding::indexBeyondSize:
            return "index beyond size";
        case RuleFinding::neverHolds:
            return "never holds";
    }
    return "";
}

py::list Check(const RuleRecord& rule, const TypeRecord& type) {
    py::list findings;
    for (const RuleFinding& finding : CheckRule(rule.GetText(), type.GetType())) {
        const TextSpan place = InCharacters(rule.GetText(), finding.span);
        findings.append(py::make_tuple(KindName(finding.kind), ToText(finding.name),
                                       ToText(finding.message), place.offset, place.length,
                                       ToText(finding.hint), finding.CanThrow()));
    }
    return findings;
}

// Whether the rule holds for a mapping of entries to values, which is a sample with its own type
// unless one is given.
bool Matches(const RuleRecord& rule, const py::object& values, const py::object& type) {
    const py::object typeOfValues = type.is_none() ? py::object(values.attr("type")) : type;
    const auto& record = typeOfValues.cast<const TypeRecord&>();
    const EntryTable entries(record.GetType());
    Sample sample(&record.GetType(), Poco::Timestamp());
    entries.SetEntries(sample, py::dict(values));
    core::tessaryn::SubscriptionArgs args{core::tessaryn::pushed, &sample, nullptr};
    return rule.GetRule().Applies(args);
}

RuleRecord Joined(const RuleRecord& left, const char* joint, const RuleRecord& right) {
    return RuleRecord("(" + left.GetText() + ") " + joint + " (" + right.GetText() + ")");
}

void BindOperators(py::class_<RuleRecord>& rule) {
    const auto bind = [&](const char* method, const char* joint) {
        rule.def(
            method,
            [joint](const RuleRecord& self, const RuleRecord& other) {
                return Joined(self, joint, other);
            },
            py::is_operator());
    };
    bind("__and__", "&&");
    bind("__or__", "||");
    bind("__xor__", "^^");
    rule.def("__invert__",
             [](const RuleRecord& self) { return RuleRecord("!(" + self.GetText() + ")"); });
}

}  // namespace

void BindRules(py::module_& module) {
    py::class_<RuleRecord> rule(
        module, "Rule",
        "A rule that selects samples and changes, such as Rule(\"level > 3 && alarm == 1\").\n\n"
        "Rules are combined with &, |, ^ and ~. A malformed text raises RuleSyntaxError.");
    rule.def(py::init([](const py::str& text) { return RuleRecord(ToBytes(text)); }),
             py::arg("text"));
    rule.def_property_readonly(
        "text", [](const RuleRecord& self) { return ToText(self.GetText()); }, "The rule's text.");
    rule.def(
        "matches", &Matches, py::arg("sample"), py::arg("type") = py::none(),
        "Whether the rule holds for a sample, as if it were pushed: a Sample, or a mapping of\n"
        "entries to values and their type.");
    rule.def("_check", &Check);
    BindOperators(rule);
    rule.def(
        "__eq__",
        [](const RuleRecord& self, const RuleRecord& other) {
            return self.GetText() == other.GetText();
        },
        py::is_operator());
    rule.def("__hash__", [](const RuleRecord& self) { return py::hash(ToText(self.GetText())); });
    rule.def("__repr__", [](const RuleRecord& self) {
        return "Rule(" + std::string(py::repr(ToText(self.GetText()))) + ")";
    });
}

}  // namespace velmora::python
