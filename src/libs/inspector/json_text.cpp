// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/json_text.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <charconv>
#include <cmath>
#include <iterator>
#include <utf8.h>

namespace velmora::inspector {

namespace {

constexpr std::uint64_t largestExact = std::uint64_t{1} << 53U;

rapidjson::SizeType Length(std::string_view text) {
    return static_cast<rapidjson::SizeType>(text.size());
}

}  // namespace

struct JsonText::Writer {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> json{buffer};

    void Raw(std::string_view text) {
        json.RawValue(text.data(), text.size(), rapidjson::kNumberType);
    }
    template <class T>
    void Number(T value) {
        char digits[32];
        const auto result = std::to_chars(std::begin(digits), std::end(digits), value);
        if (std::isfinite(value)) {
            Raw({digits, static_cast<std::size_t>(result.ptr - digits)});
        } else {
            json.Null();
        }
    }
};

JsonText::JsonText() : writer(std::make_unique<Writer>()) {}
JsonText::~JsonText() = default;

JsonText& JsonText::BeginObject() {
    writer->json.StartObject();
    return *this;
}

JsonText& JsonText::EndObject() {
    writer->json.EndObject();
    return *this;
}

JsonText& JsonText::BeginArray() {
    writer->json.StartArray();
    return *this;
}

JsonText& JsonText::EndArray() {
    writer->json.EndArray();
    return *this;
}

JsonText& JsonText::Key(std::string_view name) {
    const std::string clean = CleanText(name);
    writer->json.Key(clean.data(), Length(clean));
    return *this;
}

JsonText& JsonText::Text(std::string_view text) {
    const std::string clean = CleanText(text);
    writer->json.String(clean.data(), Length(clean));
    return *this;
}

JsonText& JsonText::Bool(bool value) {
    writer->json.Bool(value);
    return *this;
}

JsonText& JsonText::Null() {
    writer->json.Null();
    return *this;
}

JsonText& JsonText::Integer(std::int64_t value) {
    if (value > static_cast<std::int64_t>(largestExact) ||
        value < -static_cast<std::int64_t>(largestExact)) {
        return Text(std::to_string(value));
    }
    writer->json.Int64(value);
    return *this;
}

JsonText& JsonText::Unsigned(std::uint64_t value) {
    if (value > largestExact) {
        return Text(std::to_string(value));
    }
    writer->json.Uint64(value);
    return *this;
}

JsonText& JsonText::Number(double value) {
    writer->Number(value);
    return *this;
}

JsonText& JsonText::Number(float value) {
    writer->Number(value);
    return *this;
}

JsonText& JsonText::Raw(std::string_view json) {
    writer->Raw(json);
    return *this;
}

std::size_t JsonText::GetSize() const {
    return writer->buffer.GetSize();
}

std::string JsonText::Take() const {
    return {writer->buffer.GetString(), writer->buffer.GetSize()};
}

std::string CleanText(std::string_view text, std::size_t maxBytes) {
    std::string_view kept = text.substr(0, maxBytes);
    // Cuts between two characters.
    while (kept.size() < text.size() && !kept.empty() &&
           (static_cast<unsigned char>(text[kept.size()]) & 0xC0U) == 0x80U) {
        kept.remove_suffix(1);
    }
    if (utf8::is_valid(kept.begin(), kept.end())) {
        return std::string(kept);
    }
    std::string clean;
    utf8::replace_invalid(kept.begin(), kept.end(), std::back_inserter(clean));
    return clean;
}

}  // namespace velmora::inspector
