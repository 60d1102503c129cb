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

    /// Whether it holds for a sample, as for one that is pushed.
    /// \throws RequestError when the sample has so many elements that asking takes too long
    bool Holds(core::tessaryn::Sample& sample) const;

  private:
    delivery::Rule rule;
    std::size_t terms;
    std::size_t maxWork;
};

/// A rule as above.
/// \throws RequestError also when it is malformed
ClientRule ParseClientRule(const std::string& text, const InspectorLimits& limits);

/// Refuses a text that is too long, or nested too deeply, to be looked at as a rule.
/// \throws RequestError
void CheckRuleLimits(const std::string& text, const InspectorLimits& limits);

}  // namespace velmora::inspector
