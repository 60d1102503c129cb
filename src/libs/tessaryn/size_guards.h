// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/private/subscription_rule_expressions.h"

#include <deque>
#include <string>

namespace velmora::core::tessaryn {

/// An entry that has elements whenever an operand is evaluated, because an operand to the left
/// tests its size: "x" for the right operand of "x.size > 0 && ..." and of "x.size == 0 || ...".
struct SizeGuard {
    std::string entry;
    /// The next one that holds for the same operand; null for none.
    const SizeGuard* outer;
};

/// The guards of a rule, which live as long as this.
class SizeGuards {
  public:
    /// The guards for the operands to the right of one.
    /// \param operand an operand of "&&" or "||"; may be null
    /// \param truth the truth of `operand` with which the next one is evaluated
    /// \param guards those for `operand`
    const SizeGuard* After(const RLExpr* operand, bool truth, const SizeGuard* guards);

    /// Whether an entry has a guard. Only the innermost ones are looked at, so that the cost is
    /// bounded.
    static bool HasElements(const std::string& entry, const SizeGuard* guards);

  private:
    std::deque<SizeGuard> all;
};

}  // namespace velmora::core::tessaryn
