// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"

#include <string>
#include <vector>

namespace velmora::core::tessaryn {

class StreamType;

/// Something in a rule that can never have the effect its author wants.
struct RuleFinding {
    /// What is wrong.
    enum Kind : unsigned char {
        missingEntry,     ///< the stream type has no entry of the name
        unknownProperty,  ///< "entry.name" with a name that is no property: it has no value
        unknownFunction,  ///< "name()" with a name that is no function: it is always false
        literalNeverFits  ///< the literal does not convert to the type that it is compared as
    };
    Kind kind = missingEntry;  ///< what is wrong
    /// The name in question; of `literalNeverFits` the literal's text.
    std::string name;
    /// A sentence for the rule's author, without a full stop.
    std::string message;
};

/// Compares a rule's text with the stream type that it is meant for.
///
/// Evaluation is silent about all that is found here: such a term is false, or has no value.
/// A rule with findings may be meant so, as where it asks for `x.exists`.
/// \param text an expression of the rule language
/// \param type the type of the samples
/// \return the findings in the order of the text, each missing entry once; empty for a sound rule
/// \throws RuleSyntaxException when the text is malformed
/// \threadsafety external: the type must not change meanwhile
TESSARYN_API std::vector<RuleFinding> CheckRule(const std::string& text, const StreamType& type);

/// The tree that a rule's text means: a line for each operator, function, entry and literal, one
/// blank deeper than the operator that it belongs to.
/// \param text an expression of the rule language
/// \return lines that each end with a line feed; empty for a text without a term
/// \throws RuleSyntaxException when the text is malformed
/// \threadsafety immutable
TESSARYN_API std::string DescribeRule(const std::string& text);

}  // namespace velmora::core::tessaryn
