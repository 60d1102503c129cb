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
/// The dynamic value's own conversions govern, with what is odd about them: they are what a
/// comparison that is evaluated as a tree asks, and they depend on nothing but literal and type.
/// Small, for a hundred of them are read for every push: what converts to several integer types is
/// kept once, in the widest.
///
/// \threadsafety immutable
class ConvertedLiteral {
  public:
    /// The literal of no comparison: fits into nothing.
    ConvertedLiteral() = default;
    explicit ConvertedLiteral(const Poco::Dynamic::Var& literal);

    /// Whether the literal converts to the type; no element of the type matches it otherwise.
    bool FitsInto(BaseType type) const {
        return type <= traits::lastType && ((fits >> type) & 1U) != 0;
    }

    /// Whether `As` tells what the conversions do: integers of all widths have the same value.
    bool IsFaithful() const { return faithful; }

    /// The literal as the native type of a value type.
    /// \pre It fits that type, which is a number or `Bool`.
    template <class Native>
    Native As() const {
        if constexpr (std::is_same_v<Native, bool>) {
            return truth;
        } else if constexpr (std::is_same_v<Native, float>) {
            return single;
        } else if constexpr (std::is_same_v<Native, double>) {
            return real;
        } else if constexpr (std::is_signed_v<Native>) {
            return static_cast<Native>(integer);
        } else {
            return static_cast<Native>(natural);
        }
    }

    /// The literal as a text.
    /// \throws Poco::Exception when it doesn't convert
    static std::string AsText(const Poco::Dynamic::Var& literal);

  private:
    template <class Native, class Kept>
    void Convert(const Poco::Dynamic::Var& literal, BaseType type, Kept& kept);

    long long integer = 0;
    unsigned long long natural = 0;
    double real = 0;
    float single = 0;
    std::uint16_t fits = 0;
    bool truth = false;
    bool faithful = true;
};

}  // namespace velmora::core::tessaryn
