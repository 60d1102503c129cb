// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/base_type.h"

#include "tessaryn/value_traits.h"

#include <charconv>
#include <limits>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <utility>

namespace velmora::core::tessaryn {

namespace {

constexpr std::array<const char*, traits::lastType + 1> names = {
    "UnknownType", "Int8",   "Int16", "Int32",  "Int64", "UInt8", "UInt16",
    "UInt32",      "UInt64", "Float", "Double", "Bool",  "String"};

constexpr std::pair<std::string_view, BaseType> spellings[] = {
    {"int8", Int8},     {"sbyte", Int8},      {"char", Int8},     {"int16", Int16},
    {"int32", Int32},   {"int64", Int64},     {"uint8", UInt8},   {"byte", UInt8},
    {"uchar", UInt8},   {"uint16", UInt16},   {"uint32", UInt32}, {"uint64", UInt64},
    {"float", Float},   {"double", Double},   {"bool", Bool},     {"boolean", Bool},
    {"string", String}, {"bytearray", String}};

constexpr char LowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Whether `std::from_chars` and an input stream would read the same number from this text: it
// may disagree with the stream only on what this refuses.
bool IsPlainNumber(const char* first, const char* last) {
    if (first != last && *first == '-') {
        ++first;
    }
    return first != last && IsDigit(*first);
}

template <class T>
T ReadFromStream(const std::string& text) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    T value{};
    in >> value;
    return value;
}

// The element as an input stream's extraction reads it, in a fraction of a stream's time.
template <class T>
T ReadNumber(const std::string& text) {
    const char* first = text.data();
    const char* const last = first + text.size();
    while (first != last && (*first == ' ' || (*first >= '\t' && *first <= '\r'))) {
        ++first;
    }
    const bool plain = IsPlainNumber(first, last) && (!std::is_unsigned_v<T> || *first != '-');
    if (plain) {
        T value{};
        const auto [end, error] = std::from_chars(first, last, value);
        // A stream takes "1e" for no number at all, where from_chars stops before the "e".
        const bool whole = std::is_integral_v<T> || end == last;
        if (error == std::errc() && whole) {
            return value;
        }
    }
    return ReadFromStream<T>(text);
}

}  // namespace

BaseType GetTypeFromString(const std::string& name) {
    constexpr std::size_t longest = 9;
    if (name.size() > longest) {
        return UnknownType;
    }
    std::array<char, longest> lower{};
    for (std::size_t i = 0; i < name.size(); ++i) {
        lower[i] = LowerCase(name[i]);
    }
    const std::string_view wanted(lower.data(), name.size());
    for (const auto& [spelling, type] : spellings) {
        if (spelling == wanted) {
            return type;
        }
    }
    return UnknownType;
}

std::string ToString(BaseType type) {
    return names[type <= traits::lastType ? type : UnknownType];
}

std::size_t SizeOf(BaseType type) {
    return traits::ElementSize(type);
}

bool TypesAreCompatible(BaseType declared, BaseType requested) {
    if (declared == UnknownType) {
        throw std::runtime_error("unhandled type");
    }
    return traits::Accepts(declared, requested);
}

void SetFromString(BaseType type, const std::string& text, void* destination) {
    switch (type) {
        case UnknownType:
            throw std::runtime_error("unknown type in ");
        case Int8:
        case String:
            return traits::Store(destination, static_cast<char>(ReadNumber<int>(text)));
        case UInt8:
            return traits::Store(destination,
                                 static_cast<unsigned char>(ReadNumber<unsigned int>(text)));
        case Int16:
            return traits::Store(destination, ReadNumber<short>(text));
        case UInt16:
            return traits::Store(destination, ReadNumber<unsigned short>(text));
        case Int32:
            return traits::Store(destination, ReadNumber<int>(text));
        case UInt32:
            return traits::Store(destination, ReadNumber<unsigned int>(text));
        case Int64:
            return traits::Store(destination, ReadNumber<long long>(text));
        case UInt64:
            return traits::Store(destination, ReadNumber<unsigned long long>(text));
        case Float:
            return traits::Store(destination, ReadNumber<float>(text));
        case Double:
            return traits::Store(destination, ReadNumber<double>(text));
        case Bool:
            return traits::Store(destination, ReadFromStream<bool>(text));
    }
}

}  // namespace velmora::core::tessaryn
