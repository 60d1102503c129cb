// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/sample_text.h"

#include "tessaryn/field.h"
#include "tessaryn/visit_type.h"

#include <Poco/DateTimeFormatter.h>
#include <Poco/Timestamp.h>

#include <charconv>
#include <iterator>
#include <type_traits>

namespace velmora::inspector {

using core::tessaryn::Field;
using core::tessaryn::Sample;

namespace {

// Quoted if it contains a character with a meaning in CSV.
void AppendQuoted(std::string& text, std::string_view value) {
    if (value.find_first_of("\",;\r\n") == std::string_view::npos) {
        text += value;
        return;
    }
    text += '"';
    for (const char c : value) {
        text.append(c == '"' ? 2 : 1, c);
    }
    text += '"';
}

template <class T>
void AppendElement(std::string& text, T value) {
    if constexpr (std::is_same_v<T, bool>) {
        text += value ? "true" : "false";
    } else {
        char digits[32];
        const auto result = [&] {
            if constexpr (std::is_same_v<T, char>) {
                return std::to_chars(std::begin(digits), std::end(digits), int{value});
            } else {
                return std::to_chars(std::begin(digits), std::end(digits), value);
            }
        }();
        text.append(digits, result.ptr);
    }
}

// Dates have years of four digits; other times are written in microseconds.
void AppendTime(std::string& text, const Poco::Timestamp& time) {
    constexpr std::int64_t firstYear = -62135596800LL * 1'000'000;
    constexpr std::int64_t lastYear = 253402300800LL * 1'000'000;
    if (time.epochMicroseconds() < firstYear || time.epochMicroseconds() >= lastYear) {
        text += std::to_string(time.epochMicroseconds());
        return;
    }
    Poco::DateTimeFormatter::append(text, time, "%Y-%m-%dT%H:%M:%S.%FZ");
}

void AppendEntry(std::string& text, const Sample& sample, const ShownEntry& entry) {
    VisitType(entry.type, [&]<class T>(std::type_identity<T>) {
        if constexpr (std::is_same_v<T, std::string>) {
            AppendQuoted(text, Field<T>(*sample.GetStreamType(), entry.id)(sample));
        } else if constexpr (!std::is_void_v<T>) {
            const Field<T> field(*sample.GetStreamType(), entry.id);
            const std::size_t size = field.GetSize(sample);
            for (std::size_t i = 0; i < size; ++i) {
                text += i == 0 ? "" : ";";
                AppendElement(text, field(sample, static_cast<unsigned int>(i)));
            }
        }
    });
}

}  // namespace

void AppendCsvHeader(std::string& text, const std::vector<ShownEntry>& entries) {
    text += "time";
    for (const ShownEntry& entry : entries) {
        text += ',';
        AppendQuoted(text, entry.name);
    }
    text += '\n';
}

void AppendCsvLine(std::string& text, const Sample& sample,
                   const std::vector<ShownEntry>& entries) {
    AppendTime(text, sample.GetTimeStamp());
    for (const ShownEntry& entry : entries) {
        text += ',';
        AppendEntry(text, sample, entry);
    }
    text += '\n';
}

}  // namespace velmora::inspector
