// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/base_type.h"

#include "tessaryn/value_traits.h"

#include <Poco/Ascii.h>

#include <array>
#include <charconv>
#include <limits>
#include <locale>
#include <optional>
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

// Whether `std::from_chars` and an input stream read the same number from this text. They may
// differ on texts for which this is false.
bool StartsWithDigits(const char* first, const char* last) {
    if (first != last && *first == '-') {
        ++first;
    }
    return first != last && Poco::Ascii::isDigit(*first);
}

template <class T>
T ReadFromStream(const std::string& text) {
    std::istringstream in(text);
    in.imbue(std::locale::classic());
    T value{};
    in >> value;
    return value;
}

// The values of texts that an input stream does not read, although an output stream writes them.
template <class T>
std::optional<T> ReadNonFinite(std::string_view text) {
    constexpr T nan = std::numeric_limits<T>::quiet_NaN();
    constexpr T infinity = std::numeric_limits<T>::infinity();
    constexpr std::pair<std::string_view, T> values[] = {
        {"nan", nan}, {"-nan", -nan}, {"inf", infinity}, {"-inf", -infinity}};
    for (const auto& [name, value] : values) {
        if (text == name) {
            return value;
        }
    }
    return std::nullopt;
}

// Reads the element like the extraction of an input stream, but much faster.
template <class T>
T ReadNumber(const std::string& text) {
    const char* first = text.data();
    const char* const last = first + text.size();
    while (first != last && (*first == ' ' || (*first >= '\t' && *first <= '\r'))) {
        ++first;
    }
    if (StartsWithDigits(first, last) && (!std::is_unsigned_v<T> || *first != '-')) {
        T value{};
        const auto [end, error] = std::from_chars(first, last, value);
        // In "1e" a stream finds no number at all, while from_chars stops before the "e".
        if (error == std::errc() && (std::is_integral_v<T> || end == last)) {
            return value;
        }
    } else if constexpr (std::is_floating_point_v<T>) {
        const std::optional<T> value = ReadNonFinite<T>({first, last});
        if (value) {
            return *value;
        }
    }
    return ReadFromStream<T>(text);
}

}  // namespace

BaseType GetTypeFromString(const std::string& name) {
    std::string lower = name;
    for (char& c : lower) {
        c = static_cast<char>(Poco::Ascii::toLower(static_cast<unsigned char>(c)));
    }
    for (const auto& [spelling, type] : spellings) {
        if (spelling == lower) {
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
