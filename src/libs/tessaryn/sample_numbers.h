// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/base_type.h"
#include "tessaryn/export.h"
#include "tessaryn/sample.h"

#include <cstddef>
#include <ranges>
#include <span>
#include <type_traits>

/// \file
/// Numbers of any type in entries of any type but `String`. The getters and setters of `Sample`
/// copy bytes, so that the C++ type has to be that of the entry; these convert.
///
/// A number that does not fit is refused. It fits if its value does not change: 300 does not fit
/// `UInt8`, 1.5 and NaN fit no integer, and of integers 16777217 does not fit `Float`; `Bool` is 0
/// or 1. A floating-point number is rounded when it becomes a `Float`, and fits unless it is finite
/// and too large.
///
/// All of these read and write the sample's memory, not through operations that a derived class
/// overrides.

namespace velmora::core::tessaryn {

/// A C++ type of numbers: `bool`, and the integers and floating-point numbers of up to 64 bits, but
/// for the types of wide characters.
template <class T>
concept SampleNumber = std::is_arithmetic_v<T> && sizeof(T) <= 8 && !std::is_same_v<T, wchar_t> &&
                       !std::is_same_v<T, char8_t> && !std::is_same_v<T, char16_t> &&
                       !std::is_same_v<T, char32_t>;

namespace detail {

/// The value type with the width and the kind of `T`.
template <SampleNumber T>
constexpr BaseType NumberType() {
    if constexpr (std::is_same_v<T, bool>) {
        return Bool;
    } else if constexpr (std::is_floating_point_v<T>) {
        return sizeof(T) == sizeof(float) ? Float : Double;
    } else {
        constexpr BaseType signedTypes[] = {Int8, Int16, Int32, Int64};
        constexpr BaseType unsignedTypes[] = {UInt8, UInt16, UInt32, UInt64};
        constexpr std::size_t index = sizeof(T) == 1 ? 0 : sizeof(T) == 2 ? 1 : sizeof(T) / 4 + 1;
        return std::is_signed_v<T> ? signedTypes[index] : unsignedTypes[index];
    }
}

TESSARYN_API void SetNumbers(Sample& sample, unsigned short entry, std::size_t first,
                             const void* values, std::size_t count, BaseType type);
TESSARYN_API void GetNumbers(const Sample& sample, unsigned short entry, std::size_t first,
                             void* values, std::size_t count, BaseType type);

}  // namespace detail

/// A contiguous range of numbers, such as `std::span`, `std::vector` or an array.
template <class Range>
concept NumberRange = std::ranges::contiguous_range<Range> && std::ranges::sized_range<Range> &&
    SampleNumber<std::ranges::range_value_t<Range>>;

/// Sets one element and stamps the sample with the current time.
/// \throws std::out_of_range, naming entry, value and type, when the number does not fit, or there
/// is no such entry or element; the sample is as it was
/// \throws TypeMismatchException when the entry is a `String`
/// \threadsafety external
template <SampleNumber T>
void SetNumber(Sample& sample, unsigned short entry, unsigned int index, T value) {
    detail::SetNumbers(sample, entry, index, &value, 1, detail::NumberType<T>());
}

/// One element as a `T`.
/// \throws std::out_of_range, TypeMismatchException as `SetNumber`
/// \threadsafety external
template <SampleNumber T>
T GetNumber(const Sample& sample, unsigned short entry, unsigned int index) {
    T value{};
    detail::GetNumbers(sample, entry, index, &value, 1, detail::NumberType<T>());
    return value;
}

/// Sets as many elements as there are values, from `first` on: all of them, or none. Stamps once.
/// \throws std::out_of_range, TypeMismatchException as `SetNumber`
/// \threadsafety external
template <NumberRange Range>
void SetNumbers(Sample& sample, unsigned short entry, unsigned int first, const Range& values) {
    using T = std::ranges::range_value_t<Range>;
    detail::SetNumbers(sample, entry, first, std::ranges::data(values), std::ranges::size(values),
                       detail::NumberType<T>());
}

/// Reads as many elements as the range is long, from `first` on.
/// \throws std::out_of_range, TypeMismatchException as `SetNumber`; the range is then partly
/// written
/// \threadsafety external
template <NumberRange Range>
void GetNumbers(const Sample& sample, unsigned short entry, unsigned int first, Range&& values) {
    using T = std::ranges::range_value_t<Range>;
    detail::GetNumbers(sample, entry, first, std::ranges::data(values), std::ranges::size(values),
                       detail::NumberType<T>());
}

}  // namespace velmora::core::tessaryn
