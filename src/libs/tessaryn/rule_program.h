// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/subscription_args.h"

#include <deque>
#include <memory>
#include <vector>

namespace velmora::core::tessaryn {

class RLExpr;
class SampleView;

/// A parsed rule made ready to be asked a million times.
///
/// Answers exactly what the tree does, verdicts and exceptions alike, but without an allocation, a
/// look-up by name or an exception on the way. It may, because
/// - an entry's id is bound to the number of the stream type's state, which no other state of any
///   type has, and published in one atomic word together with that number;
/// - a literal converts to a value type once and for all;
/// - elements are read from the memory of a plain `Sample`, whose getters would return the same.
///   For a sample of a derived class, which may answer for itself, the tree is asked;
/// - so it is for every part of a rule whose value is no truth value by its kind.
///
/// The plan is one block of steps: an operator's operands follow it, each with all of its own, so
/// that a rule is read in one direction from a few cache lines.
///
/// \threadsafety immutable: shared between the clones of a rule, on any threads
class RuleProgram {
  public:
    /// \param tree the parsed rule; null for a blank one
    explicit RuleProgram(std::shared_ptr<RLExpr> tree);
    RuleProgram(const RuleProgram&) = delete;
    RuleProgram& operator=(const RuleProgram&) = delete;
    ~RuleProgram();

    /// Whether the tree's value for the change converts to true.
    /// \param args the change
    /// \throws what `RLExpr::evaluate` and the conversion of its value to bool throw
    bool Holds(const SubscriptionArgs& args) const;
    /// The same for a plain sample that is in view.
    /// \param sample a view of `args.sample`
    /// \param args the change
    bool Holds(const SampleView& sample, const SubscriptionArgs& args) const;

    /// Whether the tree is made of the library's nodes only, so that asking does nothing else.
    bool IsPure() const { return pure; }

  private:
    struct Source;
    struct Step;
    class Builder;

    static bool Holds(const Step& step, const SampleView& sample, const SubscriptionArgs& args);
    void FindComparisons();

    /// Where the whole rule is a chain of comparisons: these, up to one that is `decisive`.
    const Step* comparisons = nullptr;
    const Step* comparisonsEnd = nullptr;
    bool decisive = false;
    bool pure = false;
    std::vector<Step> steps;
    std::shared_ptr<RLExpr> tree;
    std::deque<Source> sources;
};

}  // namespace velmora::core::tessaryn
