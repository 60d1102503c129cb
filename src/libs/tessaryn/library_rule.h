// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"
#include "tessaryn/subscription_rule.h"

namespace velmora::core::tessaryn {

class RuleProgram;

/// The second base of the library's own rules, by which a notification recognises them: internal.
///
/// It stands beside `ISubscriptionRule`, whose virtual operations are fixed.
/// \threadsafety immutable
class TESSARYN_API LibraryRule {
  public:
    LibraryRule(const LibraryRule&) = default;
    LibraryRule& operator=(const LibraryRule&) = default;

    /// Whether `Applies` only reads the change, so that it may read the stored sample. False for a
    /// class that a host derives, whose `Applies` may do anything, and for an operand of such a
    /// class.
    virtual bool IsPure() const = 0;
    /// The compiled form of a rule that is a pure expression and nothing else; null for others.
    /// \return \ownership lends: as long as the rule lives and is not assigned to
    virtual const RuleProgram* GetProgram() const;

  protected:
    LibraryRule() = default;
    ~LibraryRule() = default;
};

/// The rule as one of the library's; null for a host's own rule and for null.
inline const LibraryRule* AsLibraryRule(const ISubscriptionRule* rule) {
    return dynamic_cast<const LibraryRule*>(rule);
}

}  // namespace velmora::core::tessaryn
