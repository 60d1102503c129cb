// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "condition_record.h"

#include "entry_table.h"
#include "entry_value.h"
#include "errors.h"
#include "tessaryn/stream_type.h"

#include <stdexcept>

namespace velmora::python {

using core::tessaryn::StreamType;

ConditionRecord ConditionRecord::Then(const ConditionRecord& next) const {
    ConditionRecord both(chain | next.chain, text + " | " + next.text, entries, rules);
    both.entries.insert(both.entries.end(), next.entries.begin(), next.entries.end());
    both.rules.insert(both.rules.end(), next.rules.begin(), next.rules.end());
    return both;
}

void ConditionRecord::Check(const EntryTable& type) const {
    for (const Entry& entry : entries) {
        if (type.Find(ToText(entry.name)).IsText() && entry.isNumeric) {
            throw std::invalid_argument("A condition needs a number, and entry '" + entry.name +
                                        "' is a text.");
        }
    }
    for (const delivery::Rule& rule : rules) {
        CheckApplies(rule, type.GetType());
    }
}

void CheckApplies(const delivery::Rule& rule, const StreamType& type) {
    if (!rule.CanApplyTo(type)) {
        throw PackageError("EntryNotFoundError",
                           "The rule needs an entry that the stream's type does not have.");
    }
}

}  // namespace velmora::python
