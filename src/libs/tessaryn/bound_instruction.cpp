// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/bound_instruction.h"

#include "tessaryn/value_traits.h"

#include <algorithm>
#include <cstddef>

namespace velmora::core::tessaryn {

std::string_view BoundInstruction::ElementsOf(std::string_view bytes, Test type) const {
    const std::size_t size = traits::ElementSize(static_cast<BaseType>(type));
    if (size == 0) {
        return {};
    }
    const std::string_view elements = ElementsOf(bytes, size);
    return type == Test::text && !elements.empty() ? bytes : elements;
}

std::string_view BoundInstruction::ClampedElementsOf(std::string_view bytes,
                                                     std::size_t size) const {
    const auto last = static_cast<long long>(bytes.size() / size) - 1;
    const auto from = std::max(static_cast<int>(static_cast<std::uint32_t>(literal)), 0);
    const auto writtenTo = static_cast<int>(literal >> 32U);
    const long long to = writtenTo < 0 ? last : std::min<long long>(writtenTo, last);
    if (from > to) {
        return {};
    }
    return bytes.substr(static_cast<std::size_t>(from) * size,
                        static_cast<std::size_t>(to - from + 1) * size);
}

}  // namespace velmora::core::tessaryn
