// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/value_traits.h"

#include <cmath>
#include <cstdint>
#include <type_traits>

/// Numbers as unsigned integers of the same order. Keys of integers of one signedness compare with
/// each other, and so do those of `Float` and `Double`.
namespace velmora::core::tessaryn {

/// The character of an `Int8` is a number with a sign.
template <class Native>
using NumberOf = std::conditional_t<std::is_same_v<Native, char>, signed char, Native>;

/// The type whose keys a value type's have; those of `Float` are those of `Double`.
template <class Native>
using Wide = std::conditional_t<
    std::is_floating_point_v<Native>, double,
    std::conditional_t<std::is_signed_v<NumberOf<Native>>, std::int64_t, std::uint64_t>>;

inline constexpr std::uint64_t signBit = std::uint64_t{1} << 63U;
/// Of NaN, and of no other number of a type that has NaN.
inline constexpr std::uint64_t keyOfNaN = 0;

inline std::uint64_t KeyOf(std::int64_t number) {
    return static_cast<std::uint64_t>(number) ^ signBit;
}

inline std::uint64_t KeyOf(std::uint64_t number) {
    return number;
}

/// The key between those of the smallest negative number and of 0 belongs to no number.
inline std::uint64_t KeyOf(double number) {
    if (std::isnan(number)) {
        return keyOfNaN;
    }
    const double normalised = number == 0 ? 0 : number;
    const auto bits = traits::Load<std::uint64_t>(&normalised);
    return (bits & signBit) != 0 ? ~bits : bits | signBit;
}

/// \param type of the number that the key is of
inline bool IsKeyOfNaN(std::uint64_t key, BaseType type) {
    return key == keyOfNaN && (type == Float || type == Double);
}

/// The number that has the key, as any of the types whose keys compare.
template <class Number>
Number NumberOfKey(std::uint64_t key) {
    if constexpr (std::is_floating_point_v<Number>) {
        const std::uint64_t isNegative = ~key >> 63U;
        const std::uint64_t bits = key ^ (signBit | (0 - isNegative));
        return static_cast<Number>(traits::Load<double>(&bits));
    } else if constexpr (std::is_signed_v<Number>) {
        return static_cast<Number>(key ^ signBit);
    } else {
        return static_cast<Number>(key);
    }
}

template <class Number>
bool IsNaN(Number number) {
    if constexpr (std::is_floating_point_v<Number>) {
        return std::isnan(number);
    } else {
        return false;
    }
}

}  // namespace velmora::core::tessaryn
