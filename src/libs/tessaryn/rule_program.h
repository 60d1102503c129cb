// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/rule_compiler.h"
#include "tessaryn/subscription_args.h"

#include <memory>
#include <string>

namespace velmora::core::tessaryn {

class RLExpr;
class SampleView;

/// Compiled form of a rule.
///
/// The tree is the reference: the program gives the same verdicts and throws the same exceptions,
/// but without an allocation, a look-up by name or an exception on an ordinary mismatch. What makes
/// that possible:
/// - An entry's name is bound to its id and type in the state of a stream type, under the number of
///   that state, and the comparison function is chosen at the same time.
/// - A literal is converted to all value types when the rule is compiled.
/// - Elements are read from the memory of the sample. A sample of a derived class, whose getters
///   may return something else, is left to the tree.
/// - So are the parts of a rule whose value is not a bool by their kind, such as `x[0]` alone.
///
/// \threadsafety immutable: the clones of a rule share a program, on any threads
class RuleProgram {
  public:
    /// \param tree the parsed rule; null for an empty text
    explicit RuleProgram(std::shared_ptr<RLExpr> tree);
    RuleProgram(const RuleProgram&) = delete;
    RuleProgram& operator=(const RuleProgram&) = delete;
    ~RuleProgram();

    /// Whether the tree's value for the change converts to true. Allocates only for a tree that
    /// shares parts.
    /// \throws what `RLExpr::evaluate` and the conversion of its value to bool throw
    bool Holds(const SubscriptionArgs& args) const;
    /// The same, with a view of `args.sample`.
    bool Holds(const SampleView& sample, const SubscriptionArgs& args) const;

    /// Whether the tree is made of the library's nodes only, so that evaluation does nothing but
    /// read.
    bool IsPure() const { return compiled.isPure; }

    /// The instructions, one a line, each with its number and the targets for true and false.
    std::string Dump() const;

  private:
    class Evaluation;

    bool HoldsWithBlocks(const SampleView& sample, const SubscriptionArgs& args) const;

    std::shared_ptr<RLExpr> tree;
    CompiledRule compiled;
    /// The first instruction; null where the program has none or has blocks.
    const Instruction* entry;
};

inline bool RuleProgram::Holds(const SampleView& sample, const SubscriptionArgs& args) const {
    const Instruction* instruction = entry;
    if (instruction == nullptr) [[unlikely]] {
        return HoldsWithBlocks(sample, args);
    }
    while (true) {
        Instruction::Target target;
        // A branch for each outcome lets the processor run ahead.
        if (instruction->test.Load()(*instruction, sample, args)) {
            target = instruction->onTrue;
        } else {
            target = instruction->onFalse;
        }
        if (target <= 0) {
            return target == Instruction::holds;
        }
        instruction += target;
    }
}

}  // namespace velmora::core::tessaryn
