// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <iosfwd>
#include <string>

namespace velmora::core::tessaryn {

/// Limits the indent of the lines that `RLExpr::dump` writes to a stream, which has no limit
/// otherwise. Without one, the dump of a chain grows with the square of its length.
/// \param blanks at least 1
void LimitIndent(std::ostream& out, int blanks);

/// The blanks before a line that is written to the stream.
/// \param indent the indent without a limit
std::string IndentFor(std::ostream& out, int indent);

}  // namespace velmora::core::tessaryn
