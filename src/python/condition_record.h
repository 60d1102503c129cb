// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/condition.h"
#include "delivery/rule.h"

#include <string>
#include <vector>

namespace velmora::core::tessaryn {
class StreamType;
}

namespace velmora::python {

class EntryTable;

/// Python's representation of a chain of conditions: the chain, what it needs of a type, and its
/// text.
///
/// \threadsafety immutable
class ConditionRecord {
  public:
    struct Entry {
        std::string name;
        bool isNumeric = false;
    };

    ConditionRecord(delivery::ConditionChain chain, std::string text, std::vector<Entry> entries,
                    std::vector<delivery::Rule> rules)
        : chain(std::move(chain)),
          text(std::move(text)),
          entries(std::move(entries)),
          rules(std::move(rules)) {}

    /// This chain, then another.
    ConditionRecord Then(const ConditionRecord& next) const;
    /// Needs the GIL.
    /// \throws PackageError when the type lacks an entry, std::invalid_argument when one is a text
    /// and not numeric
    void Check(const EntryTable& type) const;

    const delivery::ConditionChain& GetChain() const { return chain; }
    const std::string& GetText() const { return text; }

  private:
    delivery::ConditionChain chain;
    std::string text;
    std::vector<Entry> entries;
    std::vector<delivery::Rule> rules;
};

/// \throws PackageError when a rule needs an entry that a type lacks
void CheckApplies(const delivery::Rule& rule, const core::tessaryn::StreamType& type);

}  // namespace velmora::python
