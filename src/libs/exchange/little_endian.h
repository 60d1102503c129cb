// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <bit>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

/// \file
/// Numbers in frames and descriptions: little-endian, as in memory.

namespace velmora::exchange::bytes {

static_assert(std::endian::native == std::endian::little, "frames are written from memory");

/// The number at a position.
/// \pre all its bytes are within the block
template <class T>
T Load(std::string_view block, std::size_t position) {
    T value;
    std::memcpy(&value, block.data() + position, sizeof value);
    return value;
}

template <class T>
void Store(char* destination, T value) {
    std::memcpy(destination, &value, sizeof value);
}

template <class T>
void Append(std::string& block, T value) {
    char raw[sizeof value];
    Store(raw, value);
    block.append(raw, sizeof raw);
}

}  // namespace velmora::exchange::bytes
