// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_array.h"

#include "tessaryn/visit_type.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <limits>
#include <type_traits>

namespace velmora::storage {

using core::tessaryn::BaseType;
using core::tessaryn::Sample;

namespace {

constexpr std::string_view infinity = "1e999";

template <class T>
T Element(const Sample& sample, unsigned short entry, unsigned int index) {
    if constexpr (std::is_same_v<T, char>) {
        return sample.GetInt8(entry, index);
    } else if constexpr (std::is_same_v<T, short>) {
        return sample.GetInt16(entry, index);
    } else if constexpr (std::is_same_v<T, int>) {
        return sample.GetInt32(entry, index);
    } else if constexpr (std::is_same_v<T, long long>) {
        return sample.GetInt64(entry, index);
    } else if constexpr (std::is_same_v<T, unsigned char>) {
        return sample.GetUInt8(entry, index);
    } else if constexpr (std::is_same_v<T, unsigned short>) {
        return sample.GetUInt16(entry, index);
    } else if constexpr (std::is_same_v<T, unsigned int>) {
        return sample.GetUInt32(entry, index);
    } else if constexpr (std::is_same_v<T, unsigned long long>) {
        return sample.GetUInt64(entry, index);
    } else if constexpr (std::is_same_v<T, float>) {
        return sample.GetFloat(entry, index);
    } else if constexpr (std::is_same_v<T, double>) {
        return sample.GetDouble(entry, index);
    } else {
        return sample.GetBool(entry, index);
    }
}

// The type that numbers are written and read as.
template <class T>
using Written = std::conditional_t<std::is_same_v<T, char>, signed char, T>;

template <class T>
void AppendNumber(std::string& json, T value) {
    if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(value)) {
            json += "null";
            return;
        }
        if (std::isinf(value)) {
            json.append(value < 0 ? "-" : "").append(infinity);
            return;
        }
    }
    std::array<char, 32> digits;
    const auto [end, error] =
        std::to_chars(digits.data(), digits.data() + digits.size(), Written<T>(value));
    json.append(digits.data(), end);
}

// Takes a literal from the front of a text.
bool Take(std::string_view& text, std::string_view literal) {
    if (!text.starts_with(literal)) {
        return false;
    }
    text.remove_prefix(literal.size());
    return true;
}

template <class T>
bool TakeNumber(std::string_view& text, T& value) {
    Written<T> read{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), read);
    if (error == std::errc()) {
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        value = static_cast<T>(read);
        return true;
    }
    if constexpr (std::is_floating_point_v<T>) {
        constexpr T limit = std::numeric_limits<T>::infinity();
        if (Take(text, "null")) {
            value = std::numeric_limits<T>::quiet_NaN();
            return true;
        }
        const bool isNegative = Take(text, "-");
        value = isNegative ? -limit : limit;
        return Take(text, infinity);
    }
    return false;
}

bool TakeBool(std::string_view& text, bool& value) {
    value = Take(text, "true");
    return value || Take(text, "false");
}

// "nan" and "inf", which from_chars takes, are not JSON.
bool BeginsNumber(std::string_view text) {
    const std::string_view digits = text.substr(text.starts_with('-') ? 1 : 0);
    return text.starts_with("null") ||
           (!digits.empty() && digits.front() >= '0' && digits.front() <= '9');
}

template <class T>
bool ReadElements(std::string_view text, std::string& bytes) {
    if (!Take(text, "[")) {
        return false;
    }
    if (Take(text, "]")) {
        return text.empty();
    }
    do {
        T value{};
        if constexpr (std::is_same_v<T, bool>) {
            if (!TakeBool(text, value)) {
                return false;
            }
        } else {
            if (!BeginsNumber(text) || !TakeNumber(text, value)) {
                return false;
            }
        }
        bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
    } while (Take(text, ","));
    return text == "]";
}

}  // namespace

void AppendArray(std::string& json, const Sample& sample, unsigned short entry, BaseType type) {
    core::tessaryn::VisitType(type, [&]<class T>(std::type_identity<T>) {
        if constexpr (std::is_arithmetic_v<T>) {
            json += '[';
            const unsigned int size = sample.GetSize(entry);
            for (unsigned int i = 0; i < size; ++i) {
                if (i != 0) {
                    json += ',';
                }
                const T value = Element<T>(sample, entry, i);
                if constexpr (std::is_same_v<T, bool>) {
                    json += value ? "true" : "false";
                } else {
                    AppendNumber(json, value);
                }
            }
            json += ']';
        }
    });
}

bool ReadArray(std::string_view json, BaseType type, std::string& bytes) {
    return core::tessaryn::VisitType(type, [&]<class T>(std::type_identity<T>) {
        if constexpr (std::is_arithmetic_v<T>) {
            return ReadElements<T>(json, bytes);
        } else {
            return false;
        }
    });
}

}  // namespace velmora::storage
