// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/text_span.h"

#include <string>
#include <string_view>

namespace velmora::tool {

/// Two lines for a message about a rule: the rule, or the part around a place in it, and below the
/// place a caret and a hint.
///
///     temprature > 8.0
///     ^~~~~~~~~~ did you mean 'temperature'?
///
/// Control characters are escaped. Characters are assumed to be one column wide.
std::string MarkInRule(std::string_view rule, core::tessaryn::TextSpan span, std::string_view hint);

}  // namespace velmora::tool
