// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/converted_literal.h"

#include <Poco/Exception.h>

namespace velmora::core::tessaryn {

ConvertedLiteral::ConvertedLiteral(const Poco::Dynamic::Var& literal) {
    // The widest first: it holds what the narrower ones are compared with.
    Convert<long long>(literal, Int64, integer);
    Convert<int>(literal, Int32, integer);
    Convert<short>(literal, Int16, integer);
    // The conversion to char takes text for a character and knows no negative numbers.
    Convert<Poco::Int8>(literal, Int8, integer);
    Convert<unsigned long long>(literal, UInt64, natural);
    Convert<unsigned int>(literal, UInt32, natural);
    Convert<unsigned short>(literal, UInt16, natural);
    Convert<unsigned char>(literal, UInt8, natural);
    Convert<float>(literal, Float, single);
    Convert<double>(literal, Double, real);
    Convert<bool>(literal, Bool, truth);
    try {
        AsText(literal);
        fits = static_cast<std::uint16_t>(fits | 1U << String);
    } catch (const Poco::Exception&) {
        return;
    }
}

std::string ConvertedLiteral::AsText(const Poco::Dynamic::Var& literal) {
    return literal.convert<std::string>();
}

template <class Native, class Kept>
void ConvertedLiteral::Convert(const Poco::Dynamic::Var& literal, BaseType type, Kept& kept) {
    constexpr bool isWidest = sizeof(Native) == sizeof(Kept);
    try {
        const auto converted = literal.convert<Native>();
        if constexpr (isWidest) {
            kept = converted;
        } else {
            faithful = faithful && kept == static_cast<Kept>(converted);
        }
        fits = static_cast<std::uint16_t>(fits | 1U << type);
    } catch (const Poco::Exception&) {
        return;
    }
}

}  // namespace velmora::core::tessaryn
