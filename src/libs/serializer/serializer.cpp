// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serializer/serializer.h"

#include "serializer/text_escapes.h"

#include <array>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace velmora::core::serialization {

namespace {

[[noreturn]] void ThrowUnreadable(std::string_view text, const char* type) {
    throw SerializationException(detail::Quote(text) + " is not " + type + ".");
}

template <class T>
constexpr const char* typeName = nullptr;
template <>
constexpr const char* typeName<short> = "a 16-bit signed integer";
template <>
constexpr const char* typeName<unsigned short> = "a 16-bit unsigned integer";
template <>
constexpr const char* typeName<int> = "a 32-bit signed integer";
template <>
constexpr const char* typeName<unsigned int> = "a 32-bit unsigned integer";
template <>
constexpr const char* typeName<long> = "a 64-bit signed integer";
template <>
constexpr const char* typeName<unsigned long> = "a 64-bit unsigned integer";
template <>
constexpr const char* typeName<long long> = "a 64-bit signed integer";
template <>
constexpr const char* typeName<unsigned long long> = "a 64-bit unsigned integer";
template <>
constexpr const char* typeName<float> = "a 32-bit floating-point number";
template <>
constexpr const char* typeName<double> = "a 64-bit floating-point number";

static_assert(sizeof(long) == 8, "the names above say so");

template <class T>
requires std::is_arithmetic_v<T>
void Parse(std::string_view text, T& value) {
    const char* const end = text.data() + text.size();
    const auto [next, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || next != end) {
        ThrowUnreadable(text, typeName<T>);
    }
}

void Parse(std::string_view text, char& value) {
    if (text.size() != 1) {
        ThrowUnreadable(text, "a single character");
    }
    value = text.front();
}

void Parse(std::string_view text, bool& value) {
    if (text != "true" && text != "false") {
        ThrowUnreadable(text, "'true' or 'false'");
    }
    value = text == "true";
}

void Parse(std::string_view text, std::string& value) {
    value = text;
}

void Parse(std::string_view text, utils::Version& value) {
    try {
        value = utils::Version(std::string(text));
    } catch (const std::invalid_argument&) {
        ThrowUnreadable(text, "a version such as '1.0.0'");
    }
}

template <class T>
requires std::is_arithmetic_v<T> std::string Print(const T& value) {
    // An exact text of a double has up to 24 characters, such as "-2.2250738585072014e-308".
    std::array<char, 32> text{};
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
    return {text.data(), end};
}

std::string Print(const char& value) {
    return std::string(1, value);
}

std::string Print(const bool& value) {
    return value ? "true" : "false";
}

std::string Print(const std::string& value) {
    return value;
}

std::string Print(const utils::Version& value) {
    return value.ToString();
}

}  // namespace

template <class Node>
template <class T>
T Serializer<Node>::DeserializePrivate(Node node, SerializationResult& /*result*/) const {
    if (!node.HasValue()) {
        throw SerializationException("The node has no value.");
    }
    T value{};
    Parse(node.GetValueView(), value);
    return value;
}

template <class Node>
template <class T>
void Serializer<Node>::SerializePrivate(Node node, const T& value,
                                        SerializationResult& /*result*/) const {
    node.SetValue(Print(value));
}

#define VELMORA_SERIALIZER_VALUE(T)                                           \
    template VELMORA_SERIALIZER_API T NodeSerializer::DeserializePrivate<T>(  \
        NodeRef, SerializationResult&) const;                                 \
    template VELMORA_SERIALIZER_API void NodeSerializer::SerializePrivate<T>( \
        NodeRef, const T&, SerializationResult&) const

VELMORA_SERIALIZER_VALUE(char);
VELMORA_SERIALIZER_VALUE(bool);
VELMORA_SERIALIZER_VALUE(short);
VELMORA_SERIALIZER_VALUE(unsigned short);
VELMORA_SERIALIZER_VALUE(int);
VELMORA_SERIALIZER_VALUE(unsigned int);
VELMORA_SERIALIZER_VALUE(long);
VELMORA_SERIALIZER_VALUE(unsigned long);
VELMORA_SERIALIZER_VALUE(long long);
VELMORA_SERIALIZER_VALUE(unsigned long long);
VELMORA_SERIALIZER_VALUE(float);
VELMORA_SERIALIZER_VALUE(double);
VELMORA_SERIALIZER_VALUE(std::string);
VELMORA_SERIALIZER_VALUE(utils::Version);

#undef VELMORA_SERIALIZER_VALUE

}  // namespace velmora::core::serialization
