// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/rule.h"
#include "tessaryn/stream_type.h"

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

namespace velmora::tool {

/// A rule of the command line or of a file of rules.
struct NamedRule {
    /// The rule's name or, without one, its text.
    std::string label;
    std::string text;
    delivery::Rule rule;
    /// Whether it selects all samples since no rule was given.
    bool isEverySample = false;
    /// The number of its reports, over all streams.
    std::uint64_t matches = 0;
};

/// Parses "rule" or "name: rule".
/// \throws CommandError when the text is not a rule, with the place in the text
NamedRule ParseNamedRule(const std::string& text);

/// Parses the rules of the command line, then those of a file: "name: rule" or "rule" on each line,
/// empty lines and lines that begin with "#" left out.
/// \param file path of the file; empty for none
/// \return the rules, or the one that selects all samples if there are none
/// \throws CommandError when the file cannot be read, or has a line that is not a rule
std::deque<NamedRule> ParseRules(const std::vector<std::string>& texts, const std::string& file);

/// Compares rules with the type of a stream, and prints what looks wrong.
/// \param allowUnknown whether an entry that the type lacks is only a warning
/// \param quiet whether warnings are left out
/// \throws CommandError when a rule names such an entry, unless it is allowed
void CheckRules(const std::deque<NamedRule>& rules, const core::tessaryn::StreamType& type,
                bool allowUnknown, bool quiet);

/// The numeric entries that a rule names, in the order of the rule.
std::vector<std::string> FindNumericEntries(const NamedRule& rule,
                                            const core::tessaryn::StreamType& type);

}  // namespace velmora::tool
