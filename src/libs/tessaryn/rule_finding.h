// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/text_span.h"

#include <string>

namespace velmora::core::tessaryn {

/// A part of a rule that probably does not have the intended effect, or that throws.
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
    /// A description of the mistake, without a full stop.
    std::string message;
    /// The part of the rule that is wrong. For the two kinds that throw, that part is a rule by
    /// itself that throws.
    TextSpan span;
    /// A suggestion, as a sentence without a full stop; may be empty.
    std::string hint;

    /// Whether evaluation throws out of the operation that changes a stream, unless the operand in
    /// question is not evaluated.
    bool CanThrow() const { return kind == missingOperand || kind == evaluationThrows; }
};

}  // namespace velmora::core::tessaryn
