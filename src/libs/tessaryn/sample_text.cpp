// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample_text.h"

#include "tessaryn/sample_access.h"
#include "tessaryn/stream_type.h"

#include <array>
#include <charconv>
#include <limits>
#include <type_traits>

namespace velmora::core::tessaryn {

namespace {

template <class T>
void AppendNumber(std::string& text, T value, Digits digits) {
    std::array<char, 32> buffer;
    char* const first = buffer.data();
    char* const last = first + buffer.size();
    std::to_chars_result result{};
    if constexpr (std::is_floating_point_v<T>) {
        result = digits == Digits::exact
                     ? std::to_chars(first, last, value)
                     : std::to_chars(first, last, value, std::chars_format::general,
                                     std::numeric_limits<T>::digits10);
    } else {
        result = std::to_chars(first, last, value);
    }
    text.append(first, result.ptr);
}

}  // namespace

void AppendElementText(std::string& text, const Sample& sample, unsigned short entry,
                       unsigned int index, Digits digits) {
    switch (sample.GetStreamType()->GetType(entry)) {
        case UnknownType:
            return;
        case Int8:
            return AppendNumber(text, static_cast<int>(sample.GetInt8(entry, index)), digits);
        case Int16:
            return AppendNumber(text, sample.GetInt16(entry, index), digits);
        case Int32:
            return AppendNumber(text, sample.GetInt32(entry, index), digits);
        case Int64:
            return AppendNumber(text, sample.GetInt64(entry, index), digits);
        case UInt8:
            return AppendNumber(text, static_cast<unsigned int>(sample.GetUInt8(entry, index)),
                                digits);
        case UInt16:
            return AppendNumber(text, sample.GetUInt16(entry, index), digits);
        case UInt32:
            return AppendNumber(text, sample.GetUInt32(entry, index), digits);
        case UInt64:
            return AppendNumber(text, sample.GetUInt64(entry, index), digits);
        case Float:
            return AppendNumber(text, sample.GetFloat(entry, index), digits);
        case Double:
            return AppendNumber(text, sample.GetDouble(entry, index), digits);
        case Bool:
            text += sample.GetBool(entry, index) ? '1' : '0';
            return;
        case String:
            text += sample.GetInt8(entry, index);
            return;
    }
}

std::string EntryText(const Sample& sample, unsigned short entry, Digits digits) {
    if (sample.GetStreamType()->GetType(entry) == String) {
        return sample.GetString(entry);
    }
    std::string text;
    const unsigned int size = sample.GetSize(entry);
    for (unsigned int i = 0; i < size; ++i) {
        if (i != 0) {
            text += ';';
        }
        AppendElementText(text, sample, entry, i, digits);
    }
    return text;
}

std::string ToString(const Sample* sample, unsigned short entry, unsigned int index) {
    std::string text;
    if (entry == StreamType::invalidEntryId) {
        return text;
    }
    const StreamType* const type = sample->GetStreamType();
    if (type == nullptr || entry >= type->GetNumEntries()) {
        SampleAccess::ThrowNoEntry(type, entry);
    }
    AppendElementText(text, *sample, entry, index, Digits::rounded);
    return text;
}

std::string ToString(const Sample* sample, std::string entryName, unsigned int index) {
    return ToString(sample, sample->GetStreamType()->EntryId(entryName), index);
}

}  // namespace velmora::core::tessaryn
