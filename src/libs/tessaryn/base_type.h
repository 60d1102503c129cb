// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/export.h"

#include <cstddef>
#include <string>

namespace velmora::core::tessaryn {

/// Value type of one entry of a stream type; the numbers are part of the binary interface.
///
/// A `String` entry is an array of one-byte characters: its element count is its length. There is
/// no separate byte-array type.
enum BaseType : unsigned short {
    UnknownType = 0,
    Int8 = 1,
    Int16 = 2,
    Int32 = 3,
    Int64 = 4,
    UInt8 = 5,
    UInt16 = 6,
    UInt32 = 7,
    UInt64 = 8,
    Float = 9,
    Double = 10,
    Bool = 11,
    String = 12
};

/// The value type whose elements are held as the native type `T`.
///
/// Exists for exactly the twelve native types below; any other does not compile.
template <class T>
BaseType GetBaseType() = delete;

// clang-format off
template <> constexpr BaseType GetBaseType<char>() { return Int8; }
template <> constexpr BaseType GetBaseType<short>() { return Int16; }
template <> constexpr BaseType GetBaseType<int>() { return Int32; }
template <> constexpr BaseType GetBaseType<long long>() { return Int64; }
template <> constexpr BaseType GetBaseType<unsigned char>() { return UInt8; }
template <> constexpr BaseType GetBaseType<unsigned short>() { return UInt16; }
template <> constexpr BaseType GetBaseType<unsigned int>() { return UInt32; }
template <> constexpr BaseType GetBaseType<unsigned long long>() { return UInt64; }
template <> constexpr BaseType GetBaseType<float>() { return Float; }
template <> constexpr BaseType GetBaseType<double>() { return Double; }
template <> constexpr BaseType GetBaseType<bool>() { return Bool; }
template <> constexpr BaseType GetBaseType<std::string>() { return String; }
// clang-format on

/// The value type of a type name, without regard to case.
///
/// Nothing is trimmed. Some types answer to several names: "int8", "sbyte" and "char" are `Int8`;
/// "byte" and "uchar" are `UInt8`; "boolean" is `Bool`; "bytearray" is `String`.
/// \param name the name
/// \return `UnknownType` when no type has the name
/// \threadsafety immutable
TESSARYN_API BaseType GetTypeFromString(const std::string& name);

/// The name of a value type, such as "Int8"; "UnknownType" for every other value.
/// \threadsafety immutable
TESSARYN_API std::string ToString(BaseType type);

/// Bytes of one element of the type; 0 for `UnknownType` and for every value above 12.
/// \threadsafety immutable
TESSARYN_API std::size_t SizeOf(BaseType type);

/// Whether an entry declared as one type may be read and written through the accessor of another.
///
/// A signed integer entry takes every signed accessor that is not wider than itself, an unsigned
/// one every unsigned accessor, `Double` takes `Float`, and `Int8` and `String` take each other.
/// The order of the arguments matters.
/// \param declared the entry's type; above 12: false
/// \param requested the accessor's type; `UnknownType` is never compatible
/// \throws std::runtime_error "unhandled type" when `declared` is `UnknownType`
/// \threadsafety immutable
TESSARYN_API bool TypesAreCompatible(BaseType declared, BaseType requested);

/// Reads one element from text and stores it at `destination`.
///
/// Leading white space is skipped, what follows a number is ignored, and numbers are decimal
/// whatever the process's locale. A number out of range gives the nearest limit; text that holds
/// no number gives zero. `Float` and `Double` keep what `ToString` of a sample writes for them:
/// "nan", "-nan", "inf" and "-inf". An element of `String` or `Int8` is given by its code: "65"
/// stores the byte 65. `Bool` is "0" or "1".
/// \param type the element's type; a value above 12 writes nothing
/// \param text the element's text
/// \param destination where exactly `SizeOf(type)` bytes are written; needs no alignment
/// \throws std::runtime_error "unknown type in " when `type` is `UnknownType`
/// \threadsafety immutable
TESSARYN_API void SetFromString(BaseType type, const std::string& text, void* destination);

}  // namespace velmora::core::tessaryn
