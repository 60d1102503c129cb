// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/dump_indent.h"

#include <algorithm>
#include <ostream>

namespace velmora::core::tessaryn {

namespace {

// The number that every stream keeps for the limit: 0 in a stream without one.
long& LimitOf(std::ostream& out) {
    static const int index = std::ios_base::xalloc();
    return out.iword(index);
}

}  // namespace

void LimitIndent(std::ostream& out, int blanks) {
    LimitOf(out) = blanks;
}

std::string IndentFor(std::ostream& out, int indent) {
    const long limit = LimitOf(out);
    const long blanks = limit == 0 ? indent : std::min<long>(indent, limit);
    return std::string(static_cast<std::size_t>(blanks), ' ');
}

}  // namespace velmora::core::tessaryn
