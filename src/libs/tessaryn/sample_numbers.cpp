// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample_numbers.h"

#include "tessaryn/errors.h"
#include "tessaryn/sample_access.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/value_traits.h"
#include "tessaryn/visit_type.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace velmora::core::tessaryn::detail {

namespace {

// `char` is a character to the standard library's comparisons, but a number of 8 bits here.
template <class T>
using Arithmetic = std::conditional_t<std::is_same_v<T, char>, signed char, T>;

template <class To, class From>
std::optional<To> FloatToInteger(From value) {
    const From limit = std::ldexp(From{1}, std::numeric_limits<To>::digits);
    const From lowest = std::is_signed_v<To> ? -limit : From{0};
    // False for NaN.
    if (!(value >= lowest && value < limit) || value != std::trunc(value)) {
        return std::nullopt;
    }
    return static_cast<To>(value);
}

// The same number in another type, if that can represent it.
template <class To, class From>
std::optional<To> Convert(From value) {
    if constexpr (std::is_same_v<To, From>) {
        return value;
    } else if constexpr (std::is_same_v<To, bool>) {
        return value == From{0} || value == From{1} ? std::optional(value != From{0})
                                                    : std::nullopt;
    } else if constexpr (std::is_same_v<From, bool>) {
        return static_cast<To>(value ? 1 : 0);
    } else if constexpr (std::is_integral_v<To> && std::is_integral_v<From>) {
        return std::in_range<To>(value) ? std::optional(static_cast<To>(value)) : std::nullopt;
    } else if constexpr (std::is_integral_v<To>) {
        return FloatToInteger<To>(value);
    } else if constexpr (std::is_integral_v<From>) {
        const auto converted = static_cast<To>(value);
        return FloatToInteger<From>(converted) == value ? std::optional(converted) : std::nullopt;
    } else if constexpr (sizeof(To) > sizeof(From)) {
        return static_cast<To>(value);
    } else {
        const bool isTooLarge = std::isfinite(value) &&
                                std::abs(value) > static_cast<From>(std::numeric_limits<To>::max());
        return isTooLarge ? std::nullopt : std::optional(static_cast<To>(value));
    }
}

template <class T>
std::string TextOf(T value) {
    std::array<char, 32> buffer;
    if constexpr (std::is_same_v<T, bool>) {
        return value ? "1" : "0";
    } else {
        const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value).ptr;
        return {buffer.data(), end};
    }
}

// Calls with the native types of an entry's elements and of a host's numbers.
template <class Visitor>
void VisitNumbers(BaseType declared, BaseType number, Visitor visitor) {
    VisitType(declared, [&]<class Element>(std::type_identity<Element>) {
        VisitType(number, [&]<class Number>(std::type_identity<Number>) {
            if constexpr (std::is_arithmetic_v<Element> && std::is_arithmetic_v<Number>) {
                visitor(std::type_identity<Arithmetic<Element>>(),
                        std::type_identity<Arithmetic<Number>>());
            }
        });
    });
}

struct Elements {
    BaseType type;
    // From the beginning of the sample's data.
    std::size_t position;
};

// The address of the elements, after checking that they exist and are numbers.
Elements FindElements(const Sample& sample, unsigned short entry, std::size_t first,
                      std::size_t count, BaseType number) {
    const StreamType* const type = SampleAccess::TypeOf(sample);
    if (type == nullptr || entry >= type->GetNumEntries()) {
        SampleAccess::ThrowNoEntry(type, entry);
    }
    const BaseType declared = type->GetType(entry);
    if (declared == String) {
        throw TypeMismatchException(declared, number);
    }
    const auto [begin, bytes] = SampleAccess::BytesOf(sample, entry);
    const std::size_t size = traits::ElementCount(declared, bytes);
    if (first > size || count > size - first) {
        const std::size_t last = first + std::max<std::size_t>(count, 1) - 1;
        throw std::out_of_range("Element " + std::to_string(last) + " of entry '" +
                                type->GetEntry(entry).key + "' does not exist: it has " +
                                std::to_string(size) + ".");
    }
    return {declared, begin + first * traits::ElementSize(declared)};
}

[[noreturn]] void ThrowNoFit(const Sample& sample, unsigned short entry, std::size_t index,
                             const std::string& value, BaseType type) {
    throw std::out_of_range("Value " + value + " of element " + std::to_string(index) +
                            " of entry '" + SampleAccess::TypeOf(sample)->GetEntry(entry).key +
                            "' does not fit " + ToString(type) + ".");
}

}  // namespace

void SetNumbers(Sample& sample, unsigned short entry, std::size_t first, const void* values,
                std::size_t count, BaseType type) {
    const Elements elements = FindElements(sample, entry, first, count, type);
    char* const to = SampleAccess::DataOf(sample) + elements.position;
    VisitNumbers(
        elements.type, type,
        [&]<class Element, class Number>(std::type_identity<Element>, std::type_identity<Number>) {
            const auto numberAt = [values](std::size_t i) {
                return traits::Load<Number>(static_cast<const char*>(values) + i * sizeof(Number));
            };
            // All or none.
            for (std::size_t i = 0; i < count; ++i) {
                if (!Convert<Element>(numberAt(i))) {
                    ThrowNoFit(sample, entry, first + i, TextOf(numberAt(i)), elements.type);
                }
            }
            for (std::size_t i = 0; i < count; ++i) {
                traits::Store(to + i * sizeof(Element), *Convert<Element>(numberAt(i)));
            }
        });
    SampleAccess::SetTime(sample, Poco::Timestamp());
}

void GetNumbers(const Sample& sample, unsigned short entry, std::size_t first, void* values,
                std::size_t count, BaseType type) {
    const Elements elements = FindElements(sample, entry, first, count, type);
    const char* const from = SampleAccess::DataOf(sample) + elements.position;
    VisitNumbers(
        elements.type, type,
        [&]<class Element, class Number>(std::type_identity<Element>, std::type_identity<Number>) {
            auto* const to = static_cast<char*>(values);
            for (std::size_t i = 0; i < count; ++i) {
                const auto element = traits::Load<Element>(from + i * sizeof(Element));
                const std::optional<Number> number = Convert<Number>(element);
                if (!number) {
                    ThrowNoFit(sample, entry, first + i, TextOf(element), type);
                }
                traits::Store(to + i * sizeof(Number), *number);
            }
        });
}

}  // namespace velmora::core::tessaryn::detail
