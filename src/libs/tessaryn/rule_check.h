// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/text_span.h"

#include <string>
#include <vector>

namespace velmora::core::tessaryn {

class StreamType;

/// Something in a rule that cannot have the effect its author wants, or that throws.
struct RuleFinding {
    /// What is wrong.
    enum Kind : unsigned char {
        missingEntry,      ///< the stream type has no entry of the name
        unknownProperty,   ///< "entry.name" with a name that is not a property has no value
        unknownFunction,   ///< "name()" with a name that is not a function is false
        literalNeverFits,  ///< the literal does not convert to the type that it is compared as
        missingOperand,    ///< an operator, or the rule, has no operand: evaluation throws
        evaluationThrows,  ///< evaluation of the term throws for a new sample
        uncomparedValue,   ///< a term outside of a comparison has a value other than a Boolean
        uncomparedEntry,   ///< a bare entry name is true because the entry exists
        indexBeyondSize,   ///< a new sample has no element of this index
        neverHolds         ///< the comparison is false for every value of the entry
    };
    Kind kind = missingEntry;  ///< what is wrong
    /// The entry, property or function in question; of `literalNeverFits` the literal, of
    /// `missingOperand` the operator.
    std::string name;
    /// A sentence for the rule's author, without a full stop.
    std::string message;
    /// The part of the rule that is wrong. For the two kinds that throw, that part is a rule by
    /// itself that throws.
    TextSpan span;
    /// What the author may have meant, as a sentence without a full stop; empty when there is
    /// nothing to suggest.
    std::string hint;

    /// Whether evaluation throws out of the operation that changes a stream, unless the operand in
    /// question is not evaluated.
    bool CanThrow() const { return kind == missingOperand || kind == evaluationThrows; }
};

/// Compares a rule's text with the stream type that it is meant for.
///
/// The check assumes samples with the type's initial sizes; an entry of initial size 0 is taken for
/// one that is resized. A rule without a finding that can throw does not throw for a new sample. A
/// rule with findings may be meant so: one for samples of several types, for example. Time and
/// memory are proportional to the lengths of the rule and of the type.
/// \param text an expression of the rule language
/// \param type the type of the samples
/// \return the findings in the order of the text, each missing entry once; empty for a sound rule
/// \throws RuleSyntaxException when the text is malformed
/// \threadsafety external: the type must not change meanwhile
TESSARYN_API std::vector<RuleFinding> CheckRule(const std::string& text, const StreamType& type);

/// Blanks that the lines of `DescribeRule` are indented by at most.
constexpr int maxDescriptionIndent = 32;

/// The tree that a rule's text means: a line for each operator, function, entry and literal, one
/// blank deeper than the operator that it belongs to, up to `maxDescriptionIndent`. The size of all
/// lines is proportional to that of the text.
/// \param text an expression of the rule language
/// \return lines that each end with a line feed; empty for a text without a term
/// \throws RuleSyntaxException when the text is malformed
/// \threadsafety immutable
TESSARYN_API std::string DescribeRule(const std::string& text);

}  // namespace velmora::core::tessaryn
