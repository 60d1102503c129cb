// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/base_type.h"
#include "tessaryn/visit_type.h"

#include <array>
#include <cstdint>
#include <cstring>

/// Properties of the value types as constant tables, for code that runs on every access.
namespace velmora::core::tessaryn::traits {

inline constexpr unsigned short lastType = String;

inline constexpr std::array<unsigned char, lastType + 1> elementSizes = {0, 1, 2, 4, 8, 1, 2,
                                                                         4, 8, 4, 8, 1, 1};

/// Bytes of one element; 0 for `UnknownType` and for a value above 12.
constexpr unsigned int ElementSize(BaseType type) {
    return type <= lastType ? elementSizes[type] : 0U;
}

// The sizes are powers of two, so that a shift replaces a division, the slowest instruction of an
// access.
inline constexpr std::array<unsigned char, lastType + 1> elementShifts = {0, 0, 1, 2, 3, 0, 1,
                                                                          2, 3, 2, 3, 0, 0};

/// How many complete elements of the type a number of bytes holds; 0 for `UnknownType` and for a
/// value above 12.
template <class Bytes>
constexpr Bytes ElementCount(BaseType type, Bytes bytes) {
    return ElementSize(type) == 0 ? Bytes{0} : bytes >> elementShifts[type];
}

constexpr std::uint16_t Bits() {
    return 0;
}
template <class... More>
constexpr std::uint16_t Bits(BaseType first, More... more) {
    return static_cast<std::uint16_t>((1U << first) | Bits(more...));
}

/// For each declared type one bit for every accessor type that is compatible with it.
inline constexpr std::array<std::uint16_t, lastType + 1> accessors = {
    Bits(),
    Bits(Int8, String),
    Bits(Int8, Int16),
    Bits(Int8, Int16, Int32),
    Bits(Int8, Int16, Int32, Int64),
    Bits(UInt8),
    Bits(UInt8, UInt16),
    Bits(UInt8, UInt16, UInt32),
    Bits(UInt8, UInt16, UInt32, UInt64),
    Bits(Float),
    Bits(Float, Double),
    Bits(Bool),
    Bits(Int8, String),
};

/// Same as `TypesAreCompatible`, but false where that throws.
constexpr bool Accepts(BaseType declared, BaseType requested) {
    return declared <= lastType && requested <= lastType &&
           ((accessors[declared] >> requested) & 1U) != 0;
}

/// Stores a value at an address that need not be aligned.
template <class T>
void Store(void* destination, T value) {
    std::memcpy(destination, &value, sizeof value);
}

/// Loads a value from an address that need not be aligned.
template <class T>
T Load(const void* source) {
    T value;
    std::memcpy(&value, source, sizeof value);
    return value;
}

/// A byte that was read from a stream may be neither 0 nor 1, which a `bool` must be.
template <>
inline bool Load<bool>(const void* source) {
    return Load<unsigned char>(source) != 0;
}

}  // namespace velmora::core::tessaryn::traits
