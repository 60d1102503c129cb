// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velmora::core::tessaryn {

/// The candidate that a misspelt name most likely stands for; empty when none is close.
///
/// Close is a name of at least three characters that a few inserted, removed, replaced or swapped
/// characters turn into the candidate, one for each three characters and at most three; and a name
/// that differs in case only. Of equally close candidates the first. The cost for each candidate is
/// bounded.
std::string FindClosestName(std::string_view name, const std::vector<std::string>& candidates);

}  // namespace velmora::core::tessaryn
