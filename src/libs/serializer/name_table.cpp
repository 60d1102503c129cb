// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/name_table.h"

#include <algorithm>

namespace velmora::core::serialization::detail {

std::uint32_t NameTable::Find(std::string_view name) {
    auto known = numbers.find(name);
    if (known == numbers.end()) {
        // Reserved first, so that no failure leaves a name without its entry.
        constexpr std::size_t minCapacity = 16;
        if (names.size() == names.capacity()) {
            names.reserve(std::max(minCapacity, 2 * names.size()));
        }
        known = numbers.emplace(std::string(name), static_cast<std::uint32_t>(names.size())).first;
        names.push_back(&known->first);
        // The node of the map with its links, and the entry of the list.
        constexpr std::size_t linksSize = 4 * sizeof(void*);
        constexpr std::size_t localCapacity = 15;
        memory += sizeof(*known) + linksSize + sizeof(const std::string*) +
                  (name.size() > localCapacity ? name.size() + 1 : 0);
    }
    cache[CacheSlot(name)] = known->second;
    return known->second;
}

}  // namespace velmora::core::serialization::detail
