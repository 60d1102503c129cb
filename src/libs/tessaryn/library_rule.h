// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/subscription_rule.h"

#include <memory>
#include <optional>

namespace velmora::core::tessaryn {

class RLExpr;
class RuleProgram;

/// The second base of the library's own rules, by which a notification recognises them: internal.
///
/// A separate base, since the virtual operations of `ISubscriptionRule` are fixed.
/// \threadsafety immutable
class TESSARYN_API LibraryRule {
  public:
    LibraryRule(const LibraryRule&) = default;
    LibraryRule& operator=(const LibraryRule&) = default;

    /// Whether `Applies` only reads the change, so that it may read the stored sample. False for a
    /// class that a host derives, whose `Applies` may do anything, and for an operand of such a
    /// class.
    virtual bool IsPure() const = 0;
    /// The compiled form of a pure rule; null for an impure one, and for one that no expression
    /// equals.
    virtual std::shared_ptr<const RuleProgram> GetProgram() const;
    /// An expression that equals a pure rule; none for an impure one. Null is an expression, too.
    virtual std::optional<std::shared_ptr<RLExpr>> GetExpression() const = 0;

  protected:
    LibraryRule() = default;
    ~LibraryRule() = default;
};

/// The rule as one of the library's; null for a host's own rule and for null.
inline const LibraryRule* AsLibraryRule(const ISubscriptionRule* rule) {
    return dynamic_cast<const LibraryRule*>(rule);
}

}  // namespace velmora::core::tessaryn
