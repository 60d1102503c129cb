// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/text_span.h"

#include <string>
#include <string_view>

namespace velmora::core::tessaryn {

class StreamType;

/// A suggestion for a malformed rule, as a sentence without a full stop; may be empty. Not longer
/// than a line, however long the rule is.
/// \param text the rule
/// \param failure where parsing failed
/// \param type the type that the rule is meant for; null when it is not known
std::string HintForSyntaxError(std::string_view text, TextSpan failure,
                               const StreamType* type = nullptr);

}  // namespace velmora::core::tessaryn
