// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/rule_instruction.h"

#include <cstdint>
#include <vector>

namespace velmora::core::tessaryn {

/// The instructions of a rule, and the tables that they refer to.
struct CompiledRule {
    static constexpr std::uint32_t none = static_cast<std::uint32_t>(-1);

    /// Index of an instruction, or one of the verdicts below.
    using Place = std::int32_t;
    static constexpr Place fails = -1;
    static constexpr Place holds = -2;

    /// Part of the program that instructions call: it ends in a verdict of its own.
    struct Block {
        Place start = fails;
        /// The slot that keeps its verdict for later calls during one evaluation; `none` if it is
        /// not kept.
        std::uint32_t verdict = none;
    };

    std::vector<Instruction> code;
    /// 0, or a verdict when there is nothing to test.
    Place start = fails;
    /// The targets of `Call`, by index.
    std::vector<Block> blocks;
    /// Number of verdicts that are kept.
    std::uint32_t numVerdicts = 0;
    /// Whether all nodes of the tree are the library's, so that evaluation only reads.
    bool isPure = true;
    /// Whether an evaluation may throw: there is a `Fallback`.
    bool mayThrow = false;
};

/// Compiles a rule's tree.
///
/// Operators become branches: of a comparison in `a && b`, `onTrue` leads to `b` and `onFalse` to
/// the verdict. A part of the tree that the program may reach on several ways becomes a block, so
/// that the program is as large as the tree, however often the tree shares its parts.
/// \param tree \ownership observes: may be null; must outlive the compiled rule
CompiledRule CompileRule(const RLExpr* tree);

}  // namespace velmora::core::tessaryn
