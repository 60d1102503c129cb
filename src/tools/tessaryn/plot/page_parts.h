// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string_view>

namespace velmora::tool {

// The parts of a page: the chart library dygraphs found by the build, and the files beside this
// one.
extern const std::string_view dygraphsScript;
extern const std::string_view dygraphsStyle;
extern const std::string_view reportScript;
extern const std::string_view reportStyle;

}  // namespace velmora::tool
