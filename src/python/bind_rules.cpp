// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "bind_rules.h"

#include "entry_value.h"
#include "rule_record.h"

#include <string>

namespace velmora::python {

void BindRules(py::module_& module) {
    py::class_<RuleRecord> rule(module, "Rule");
    rule.def(py::init([](const py::str& text) { return RuleRecord(ToBytes(text)); }),
             py::arg("text"));
    rule.def_property_readonly("text",
                               [](const RuleRecord& self) { return ToText(self.GetText()); });
    rule.def("__repr__", [](const RuleRecord& self) {
        return "Rule(" + std::string(py::repr(ToText(self.GetText()))) + ")";
    });
}

}  // namespace velmora::python
