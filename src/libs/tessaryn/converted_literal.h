// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/base_type.h"
#include "tessaryn/value_traits.h"

#include <Poco/Dynamic/Var.h>

#include <cstdint>
#include <string>
#include <type_traits>

namespace velmora::core::tessaryn {

/// The literal of a comparison, converted once to every value type.
///
/// The conversions are those of `Poco::Dynamic::Var`, because the tree compares with their results;
/// they depend only on the literal and the type. The object is kept small, since a push reads one
/// for each comparison: all integer types share one number.
///
/// \threadsafety immutable
class ConvertedLiteral {
  public:
    /// Converts to no type.
    ConvertedLiteral() = default;
    explicit ConvertedLiteral(const Poco::Dynamic::Var& literal);

    /// Whether the literal converts to the type; where it does not, no element of the type passes a
    /// comparison with it.
    bool IsConvertibleTo(BaseType type) const {
        return type <= traits::lastType && ((convertibleTypes >> type) & 1U) != 0;
    }

    /// Whether `As` gives what the conversions do: the same number for all integer types.
    bool IsLossless() const { return isLossless; }

    /// The literal as the native type of a value type.
    /// \pre It is convertible to that type, which is a number or `Bool`.
    template <class Native>
    Native As() const {
        if constexpr (std::is_same_v<Native, bool>) {
            return asBool;
        } else if constexpr (std::is_same_v<Native, float>) {
            return asFloat;
        } else if constexpr (std::is_same_v<Native, double>) {
            return asDouble;
        } else {
            return static_cast<Native>(asUnsigned);
        }
    }

    /// The literal as a text.
    /// \throws Poco::Exception when it is not convertible
    static std::string AsText(const Poco::Dynamic::Var& literal);

  private:
    template <class Native>
    bool Convert(const Poco::Dynamic::Var& literal, BaseType type, Native& converted);
    template <class Native>
    void ConvertToInteger(const Poco::Dynamic::Var& literal, BaseType type);

    /// Of a negative number the two's complement.
    unsigned long long asUnsigned = 0;
    double asDouble = 0;
    float asFloat = 0;
    /// Bit n for the value type n.
    std::uint16_t convertibleTypes = 0;
    bool asBool = false;
    bool isLossless = true;
};

}  // namespace velmora::core::tessaryn
