// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/bound_instruction.h"

#include "tessaryn/value_traits.h"

#include <algorithm>
#include <cstddef>

namespace velmora::core::tessaryn {

std::string_view BoundInstruction::ElementsOf(std::string_view bytes, Test type) const {
    const auto elementType = static_cast<BaseType>(type);
    const auto last = static_cast<long long>(traits::ElementCount(elementType, bytes.size())) - 1;
    const auto from = std::max(static_cast<int>(static_cast<std::uint32_t>(literal)), 0);
    const auto writtenTo = static_cast<int>(literal >> 32U);
    const long long to = writtenTo < 0 ? last : std::min<long long>(writtenTo, last);
    if (from > to) {
        return {};
    }
    const std::size_t size = traits::ElementSize(elementType);
    return type == Test::text ? bytes
                              : bytes.substr(static_cast<std::size_t>(from) * size,
                                             static_cast<std::size_t>(to - from + 1) * size);
}

}  // namespace velmora::core::tessaryn
