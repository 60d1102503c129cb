// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/rule_finding.h"

#include <string>
#include <vector>

namespace velmora::core::tessaryn {

class StreamType;

/// Compares a rule's text with the stream type that it is meant for.
///
/// The check assumes samples with the type's initial sizes; an entry of initial size 0 is taken for
/// one that is resized. A rule without a finding that can throw does not throw for a new sample. A
/// rule with findings may be intended, such as one for samples of several types. Time and memory
/// are proportional to the lengths of the rule and of the type.
/// \param text an expression of the rule language
/// \param type the type of the samples
/// \return the findings in the order of the text, each missing entry once; empty for a sound rule
/// \throws RuleSyntaxException when the text is malformed
/// \threadsafety external: the type must not change meanwhile
TESSARYN_API std::vector<RuleFinding> CheckRule(const std::string& text, const StreamType& type);

/// Blanks that the lines of `DescribeRule` are indented by at most.
constexpr int maxDescriptionIndent = 32;

/// The tree of a rule's text: a line for each operator, function, entry and literal, one blank
/// deeper than the operator that it belongs to, up to `maxDescriptionIndent`. The size of all lines
/// is proportional to that of the text.
/// \param text an expression of the rule language
/// \return lines that each end with a line feed; empty for a text without a term
/// \throws RuleSyntaxException when the text is malformed
/// \threadsafety immutable
TESSARYN_API std::string DescribeRule(const std::string& text);

}  // namespace velmora::core::tessaryn
