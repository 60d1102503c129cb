// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// Internal to this library.

namespace velmora::core::serialization::detail {

/// Stores each name once and numbers them.
///
/// The map is ordered, so that no choice of names makes it slow; a cache answers for the few names
/// that most trees consist of.
class NameTable {
  public:
    /// The number of a name, which is added if it is new.
    std::uint32_t Intern(std::string_view name) {
        const std::uint32_t cached = cache[CacheSlot(name)];
        if (cached < names.size() && *names[cached] == name) {
            return cached;
        }
        return Find(name);
    }
    const std::string& Get(std::uint32_t number) const { return *names[number]; }
    /// The bytes that the names take.
    std::uint64_t GetMemory() const { return memory; }

  private:
    static constexpr std::size_t cacheSize = 64;

    static std::size_t CacheSlot(std::string_view name) {
        if (name.empty()) {
            return 0;
        }
        const std::size_t first = static_cast<unsigned char>(name.front());
        const std::size_t last = static_cast<unsigned char>(name.back());
        return (name.size() * 7 + first * 3 + last) % cacheSize;
    }
    std::uint32_t Find(std::string_view name);

    std::map<std::string, std::uint32_t, std::less<>> numbers;
    std::vector<const std::string*> names;
    std::array<std::uint32_t, cacheSize> cache = {};
    std::uint64_t memory = 0;
};

}  // namespace velmora::core::serialization::detail
