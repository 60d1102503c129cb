// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/base_type.h"

#include <string>
#include <type_traits>

namespace velmora::core::tessaryn {

/// Calls a function object with the native type of a value type, as `std::type_identity<T>`.
///
/// `T` is the type for which `GetBaseType<T>()` is the value type: `char` for `Int8`, `std::string`
/// for `String`. It is `void` for `UnknownType` and for every value above 12.
///
///     VisitType(type, [&]<class T>(std::type_identity<T>) {
///         if constexpr (std::is_void_v<T>) { ... } else { ... }
///     });
/// \return the function object's result, whose type must be the same for every `T`
/// \threadsafety immutable
template <class Visitor>
constexpr decltype(auto) VisitType(BaseType type, Visitor&& visitor) {
    switch (type) {
        case Int8:
            return visitor(std::type_identity<char>());
        case Int16:
            return visitor(std::type_identity<short>());
        case Int32:
            return visitor(std::type_identity<int>());
        case Int64:
            return visitor(std::type_identity<long long>());
        case UInt8:
            return visitor(std::type_identity<unsigned char>());
        case UInt16:
            return visitor(std::type_identity<unsigned short>());
        case UInt32:
            return visitor(std::type_identity<unsigned int>());
        case UInt64:
            return visitor(std::type_identity<unsigned long long>());
        case Float:
            return visitor(std::type_identity<float>());
        case Double:
            return visitor(std::type_identity<double>());
        case Bool:
            return visitor(std::type_identity<bool>());
        case String:
            return visitor(std::type_identity<std::string>());
        case UnknownType:
            break;
    }
    return visitor(std::type_identity<void>());
}

}  // namespace velmora::core::tessaryn
