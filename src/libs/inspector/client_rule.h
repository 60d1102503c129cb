// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/rule.h"
#include "inspector/inspector_options.h"
#include "tessaryn/sample.h"

#include <cstddef>
#include <string>

namespace velmora::inspector {

/// A rule that a client sent: bounded in length, nesting and work, and false where it throws.
///
/// \threadsafety external
class ClientRule {
  public:
    /// \throws RequestError when it exceeds a limit
    /// \throws core::tessaryn::RuleSyntaxException when it is malformed
    ClientRule(const std::string& text, const InspectorLimits& limits);

    /// Whether the rule holds for a sample that is pushed.
    /// \throws RequestError when the sample has so many elements that evaluation takes too long
    bool Holds(core::tessaryn::Sample& sample) const;

  private:
    delivery::Rule rule;
    std::size_t terms;
    std::size_t maxWork;
};

/// As above.
/// \throws RequestError also when it is malformed
ClientRule ParseClientRule(const std::string& text, const InspectorLimits& limits);

/// Refuses a text that is too long or too deeply nested to be parsed.
/// \throws RequestError
void CheckRuleLimits(const std::string& text, const InspectorLimits& limits);

}  // namespace velmora::inspector
