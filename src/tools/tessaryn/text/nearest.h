// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>
#include <vector>

namespace velmora::tool {

/// A suggestion for a misspelt name: "; did you mean 'watch'?" with the nearest known name, or an
/// empty text if none is near.
std::string SuggestNearest(const std::string& name, const std::vector<std::string>& known);

}  // namespace velmora::tool
