// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/converted_literal.h"
#include "tessaryn/subscription_args.h"

#include <cstdint>
#include <string>

namespace velmora::core::tessaryn {

class RLExpr;

/// One test of a change, and where the program continues after it. It names entries and holds its
/// literal in all value types, so that it can be bound to any stream type.
struct Instruction {
    enum class Opcode : unsigned char {
        Compare,       ///< every element of an entry passes the comparison with the literal
        CompareRange,  ///< every one of a range of elements does
        CompareSize,   ///< the number of elements does
        Exists,        ///< the sample's type has the entry
        ChangeType,    ///< the change is of a kind
        Fallback,      ///< the value of a part of the tree converts to true
        Call           ///< another block of the program holds
    };

    enum class Operator : unsigned char {
        equal,
        notEqual,
        less,
        lessOrEqual,
        greater,
        greaterOrEqual
    };

    /// The distance to the next instruction, or one of the verdicts below.
    using Target = std::int32_t;
    static constexpr Target fails = 0;
    static constexpr Target holds = -1;

    Opcode opcode = Opcode::Fallback;
    Operator comparison = Operator::equal;
    StreamChangeType changeType = pushed;
    Target onTrue = holds;
    Target onFalse = fails;
    /// Index of the block that `Call` refers to.
    std::uint32_t block = 0;
    /// The part of the tree that the instruction stands for; null for a missing operand.
    const RLExpr* expression = nullptr;
    std::string entryName = {};
    /// Of `CompareRange`, as written.
    int from = 0;
    int to = 0;
    ConvertedLiteral literal = {};
    /// The literal, where it converts to a text.
    std::string text = {};
};

}  // namespace velmora::core::tessaryn
