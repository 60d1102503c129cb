// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/bound_rule.h"
#include "tessaryn/subscription_args.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace velmora::core::tessaryn {

class RLExpr;
class SampleView;

/// Compiled form of a rule.
///
/// The tree is the reference: the program gives the same verdicts and throws the same exceptions,
/// but without a look-up by name or an exception on an ordinary mismatch. How it works:
/// - The program is bound once for each state of a stream type that it meets, up to a number of
///   states: names to ids and value types, literals to values of these types.
/// - A literal is converted to all value types when the rule is compiled.
/// - Elements are read from the memory of the sample. A sample of a derived class, whose getters
///   may return something else, is left to the tree; so is one that lacks entries of its type.
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

    /// Whether the tree's value for the change converts to true. Allocates only when it is bound,
    /// and for a tree that shares parts.
    /// \throws what `RLExpr::evaluate` and the conversion of its value to bool throw
    bool Holds(const SubscriptionArgs& args) const;

    /// Whether the tree is made of the library's nodes only, so that evaluation only reads.
    bool IsPure() const { return compiled.isPure; }
    /// The parsed rule; null for an empty text.
    const std::shared_ptr<RLExpr>& GetTree() const { return tree; }
    const CompiledRule& GetCode() const { return compiled; }

    /// The instructions, one a line, each with its number and the targets for true and false.
    std::string Dump() const;

  private:
    struct Binding;

    const Binding* BindingFor(const SampleView& sample) const;

    /// More states of types than this are left to the tree.
    static constexpr int maxBindings = 64;

    std::shared_ptr<RLExpr> tree;
    CompiledRule compiled;
    /// A list that only grows.
    mutable std::atomic<Binding*> bindings = nullptr;
};

}  // namespace velmora::core::tessaryn
