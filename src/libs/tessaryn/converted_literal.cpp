// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/converted_literal.h"

#include <Poco/Exception.h>

#include <limits>
#include <typeinfo>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

// Bits of all integer types.
constexpr std::uint16_t integerTypes =
    traits::Bits(Int8, Int16, Int32, Int64, UInt8, UInt16, UInt32, UInt64);

// Whether the conversion would refuse the literal, since it is out of the type's range. Most
// literals are for some type, and the exceptions would take as long as the rest of parsing a rule.
template <class Native>
bool IsBeyond(const Poco::Dynamic::Var& literal) {
    using Limits = std::numeric_limits<Native>;
    if (literal.type() == typeid(Poco::Int64)) {
        return !std::in_range<Native>(literal.extract<Poco::Int64>());
    }
    if (literal.type() == typeid(double)) {
        const auto number = literal.extract<double>();
        return number < static_cast<double>(Limits::min()) ||
               number > static_cast<double>(Limits::max());
    }
    return false;
}

}  // namespace

ConvertedLiteral::ConvertedLiteral(const Poco::Dynamic::Var& literal) {
    ConvertToInteger<long long>(literal, Int64);
    ConvertToInteger<int>(literal, Int32);
    ConvertToInteger<short>(literal, Int16);
    // The conversion to `char` takes a text for a character and refuses negative numbers.
    ConvertToInteger<Poco::Int8>(literal, Int8);
    ConvertToInteger<unsigned long long>(literal, UInt64);
    ConvertToInteger<unsigned int>(literal, UInt32);
    ConvertToInteger<unsigned short>(literal, UInt16);
    ConvertToInteger<unsigned char>(literal, UInt8);
    Convert(literal, Float, asFloat);
    Convert(literal, Double, asDouble);
    Convert(literal, Bool, asBool);
    std::string text;
    Convert(literal, String, text);
}

std::string ConvertedLiteral::AsText(const Poco::Dynamic::Var& literal) {
    return literal.convert<std::string>();
}

// Returns whether the literal is convertible.
template <class Native>
bool ConvertedLiteral::Convert(const Poco::Dynamic::Var& literal, BaseType type,
                               Native& converted) {
    try {
        converted = literal.convert<Native>();
    } catch (const Poco::Exception&) {
        return false;
    }
    convertibleTypes = static_cast<std::uint16_t>(convertibleTypes | 1U << type);
    return true;
}

template <class Native>
void ConvertedLiteral::ConvertToInteger(const Poco::Dynamic::Var& literal, BaseType type) {
    const bool isFirst = (convertibleTypes & integerTypes) == 0;
    Native converted{};
    if (IsBeyond<Native>(literal) || !Convert(literal, type, converted)) {
        return;
    }
    // The sign is meant to extend, so that a number is the same in all widths.
    // NOLINTNEXTLINE(bugprone-signed-char-misuse)
    const auto number = static_cast<unsigned long long>(converted);
    isLossless = isLossless && (isFirst || asUnsigned == number);
    asUnsigned = isFirst ? number : asUnsigned;
}

}  // namespace velmora::core::tessaryn
