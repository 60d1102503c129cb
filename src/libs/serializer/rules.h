// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/export.h"
#include "serializer/serialization_result.h"

#include <concepts>
#include <locale>
#include <sstream>
#include <string>
#include <utility>

/// \file
/// Rules decide whether a value is acceptable. Any class with the `Check` and `GetDescription` of
/// those below is a rule.

namespace velmora::core::serialization {

namespace detail {

/// The types that `std::cmp_greater` compares.
template <class T>
concept Number = std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> &&
                 !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> &&
                 !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

}  // namespace detail

/// The value must be readable, unless it is optional.
///
/// \threadsafety immutable
class VELMORA_SERIALIZER_API OptionalRule {
  public:
    explicit OptionalRule(bool isOptional) : optional(isOptional) {}

    template <class T>
    bool Check(const SerializationResult& result, const T& /*value*/) const {
        return result.status == SerializationResult::done || optional;
    }
    /// The text "Is optional" or "Is mandatory".
    std::string GetDescription() const { return optional ? "Is optional" : "Is mandatory"; }

  private:
    bool optional;
};

/// The value must be readable and greater than a threshold.
///
/// \threadsafety immutable
template <class T>
class GreaterThanRule {
  public:
    explicit GreaterThanRule(T limit) : threshold(std::move(limit)) {}

    /// Integers of different signedness compare by value: -1 is not greater than 0U.
    template <class U>
    bool Check(const SerializationResult& result, const U& value) const {
        if (result.status != SerializationResult::done) {
            return false;
        }
        if constexpr (detail::Number<T> && detail::Number<U>) {
            return std::cmp_greater(value, threshold);
        } else {
            return value > threshold;
        }
    }
    /// The text "Is greater than " and the threshold.
    std::string GetDescription() const {
        std::ostringstream text;
        text.imbue(std::locale::classic());
        text << "Is greater than " << threshold;
        return text.str();
    }

  private:
    T threshold;
};

/// The node must exist; its value may be unreadable.
///
/// \threadsafety immutable
class VELMORA_SERIALIZER_API ExistRule {
  public:
    template <class T>
    bool Check(const SerializationResult& result, const T& /*value*/) const {
        return result.status != SerializationResult::absent;
    }
    /// The text "Exists".
    std::string GetDescription() const { return "Exists"; }
};

/// The value must be readable.
inline OptionalRule Mandatory() {
    return OptionalRule(false);
}
/// The value may be absent or unreadable.
inline OptionalRule Optional() {
    return OptionalRule(true);
}
/// The value must be readable and greater than the threshold.
template <class T>
GreaterThanRule<T> GreaterThan(T threshold) {
    return GreaterThanRule<T>(std::move(threshold));
}
/// The node must exist.
inline ExistRule Exist() {
    return ExistRule();
}

}  // namespace velmora::core::serialization
