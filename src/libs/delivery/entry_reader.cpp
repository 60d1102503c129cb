// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/entry_reader.h"

#include <cmath>
#include <limits>
#include <type_traits>

namespace velmora::delivery {

using namespace core::tessaryn;

namespace {

// Calls a function with one element in its declared type; does nothing for a text.
template <class Use>
auto WithElement(const Sample& sample, BaseType type, unsigned short id, unsigned int index,
                 Use use) -> decltype(use(0)) {
    switch (type) {
        case Int8:
            return use(static_cast<signed char>(sample.GetInt8(id, index)));
        case Int16:
            return use(sample.GetInt16(id, index));
        case Int32:
            return use(sample.GetInt32(id, index));
        case Int64:
            return use(sample.GetInt64(id, index));
        case UInt8:
            return use(sample.GetUInt8(id, index));
        case UInt16:
            return use(sample.GetUInt16(id, index));
        case UInt32:
            return use(sample.GetUInt32(id, index));
        case UInt64:
            return use(sample.GetUInt64(id, index));
        case Float:
            return use(sample.GetFloat(id, index));
        case Double:
            return use(sample.GetDouble(id, index));
        case Bool:
            return use(sample.GetBool(id, index));
        case UnknownType:
        case String:
            break;
    }
    return use(std::numeric_limits<double>::quiet_NaN());
}

template <class T>
bool IsSame(T first, T second) {
    if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(first) && std::isnan(second)) {
            return true;
        }
    }
    return first == second;
}

// Values of two types: never called, but instantiated.
template <class T, class U>
bool IsSame(T /*first*/, U /*second*/) {
    return false;
}

}  // namespace

EntryReader::EntryReader(const std::string& name) : name(name) {}

bool EntryReader::Find(const Sample& sample) {
    const StreamType* const sampleType = sample.GetStreamType();
    if (sampleType == nullptr) {
        return false;
    }
    if (sampleType->GetLayoutNumber() != layout) {
        layout = sampleType->GetLayoutNumber();
        const bool exists = sampleType->EntryExists(name);
        id = exists ? sampleType->EntryId(name) : StreamType::invalidEntryId;
        type = exists ? sampleType->GetType(id) : UnknownType;
    }
    return type != UnknownType;
}

double EntryReader::GetNumber(const Sample& sample, unsigned int index) const {
    return WithElement(sample, type, id, index,
                       [](auto value) { return static_cast<double>(value); });
}

bool EntryReader::IsEqual(const Sample& a, const Sample& b) const {
    if (type == String) {
        return a.GetString(id) == b.GetString(id);
    }
    const unsigned int size = a.GetSize(id);
    if (b.GetSize(id) != size) {
        return false;
    }
    for (unsigned int i = 0; i < size; ++i) {
        const bool equal = WithElement(a, type, id, i, [&](auto first) {
            return WithElement(b, type, id, i, [&](auto second) { return IsSame(first, second); });
        });
        if (!equal) {
            return false;
        }
    }
    return true;
}

}  // namespace velmora::delivery
