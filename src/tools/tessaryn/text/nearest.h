// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>
#include <vector>

namespace velmora::tool {

/// What to say of a misspelt name: "; did you mean 'watch'?" with the known name that the fewest
/// changes of letters lead to, or nothing when none is near.
std::string SuggestNearest(const std::string& name, const std::vector<std::string>& known);

}  // namespace velmora::tool
