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
/// Rules decide whether a value is acceptable. Any class with `Check` and `GetDescription` as
/// below is one.

namespace velmora::core::serialization {

namespace detail {

/// The integers between which a comparison must mind the sign.
template <class T>
concept Number = std::integral<T> && !std::same_as<T, bool> && !std::same_as<T, char> &&
                 !std::same_as<T, wchar_t> && !std::same_as<T, char8_t> &&
                 !std::same_as<T, char16_t> && !std::same_as<T, char32_t>;

}  // namespace detail

/// The value must have been read, or may be missing.
///
/// \threadsafety immutable
class VELMORA_SERIALIZER_API OptionalRule {
  public:
    /// \param mayBeMissing whether the value may be absent or unreadable
    explicit OptionalRule(bool mayBeMissing) : optional(mayBeMissing) {}

    /// Whether the value was read, or need not be.
    /// \param result what became of the value
    template <class T>
    bool Check(const SerializationResult& result, const T& /*value*/) const {
        return result.status == SerializationResult::done || optional;
    }
    /// The text "Is optional" or "Is mandatory".
    std::string GetDescription() const { return optional ? "Is optional" : "Is mandatory"; }

  private:
    bool optional;
};

/// The value must have been read and be greater than a threshold.
///
/// \threadsafety immutable
template <class T>
class GreaterThanRule {
  public:
    /// \param largestRefused the largest value that is refused
    explicit GreaterThanRule(T largestRefused) : threshold(std::move(largestRefused)) {}

    /// Whether the value was read and is greater; integers compare by value, whatever their signs.
    /// \param result what became of the value
    /// \param value the value
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

/// The node must be there, whatever it holds.
///
/// \threadsafety immutable
class VELMORA_SERIALIZER_API ExistRule {
  public:
    /// Whether the node exists; its value may be unreadable.
    /// \param result what became of the value
    template <class T>
    bool Check(const SerializationResult& result, const T& /*value*/) const {
        return result.status != SerializationResult::absent;
    }
    /// The text "Exists".
    std::string GetDescription() const { return "Exists"; }
};

/// A rule: the value must be there and readable.
inline OptionalRule Mandatory() {
    return OptionalRule(false);
}
/// A rule: the value may be absent or unreadable.
inline OptionalRule Optional() {
    return OptionalRule(true);
}
/// A rule: the value must be there, readable and greater than a threshold.
/// \param threshold the largest value that is refused
template <class T>
GreaterThanRule<T> GreaterThan(T threshold) {
    return GreaterThanRule<T>(std::move(threshold));
}
/// A rule: the node must be there.
inline ExistRule Exist() {
    return ExistRule();
}

}  // namespace velmora::core::serialization
