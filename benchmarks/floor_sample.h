// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/base_type.h"

#include <Poco/Timestamp.h>

#include <cstring>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::benchmarks {

using core::tessaryn::BaseType;
using core::tessaryn::GetBaseType;

/// What the floor needs of a stream type: types and offsets of the entries.
struct FloorType {
    std::vector<BaseType> types;
    std::vector<unsigned int> offsets;
};

/// The layout of `Values`.
const FloorType& FloorTypeOfValues();
/// The same with an entry each of the types `Int64`, `Bool` and `Float` more.
const FloorType& FloorTypeOfMoreValues();

/// The minimum of a sample: an object that hosts may derive from, an array of bytes and one of
/// offsets. Each access checks type and index, each set reads the clock.
class FloorSample {
  public:
    FloorSample(const FloorType& sampleType, const Poco::Timestamp& time);
    FloorSample(const FloorSample& other);
    FloorSample& operator=(const FloorSample&) = delete;
    virtual ~FloorSample();

    template <class T>
    T Get(unsigned short entry, unsigned int index) const {
        T value;
        std::memcpy(&value, Element<T>(entry, index), sizeof(T));
        return value;
    }

    template <class T>
    void Set(unsigned short entry, unsigned int index, T value) {
        std::memcpy(Element<T>(entry, index), &value, sizeof(T));
        timestamp.update();
        isStamped = true;
    }

    void Set(unsigned short entry, const std::string& value) {
        if (type->types[entry] != BaseType::String) {
            RefuseType();
        }
        if (value.size() != SizeInBytes(entry)) {
            RefuseIndex();
        }
        std::memcpy(data.get() + offsets[entry], value.data(), value.size());
        timestamp.update();
        isStamped = true;
    }

    std::string_view GetText(unsigned short entry) const {
        if (type->types[entry] != BaseType::String) {
            RefuseType();
        }
        return {data.get() + offsets[entry], SizeInBytes(entry)};
    }

    unsigned int SizeInBytes(unsigned short entry) const {
        return offsets[entry + 1U] - offsets[entry];
    }

    const Poco::Timestamp& GetTimeStamp() const { return timestamp; }

    /// Set by each setter, for streams that rely on the order of time stamps.
    static inline thread_local bool isStamped = false;

    void Deserialize(std::istream& in);
    void Serialize(std::ostream& out) const;

  private:
    template <class T>
    char* Element(unsigned short entry, unsigned int index) const {
        if (type->types[entry] != GetBaseType<T>()) {
            RefuseType();
        }
        if (index >= SizeInBytes(entry) / sizeof(T)) {
            RefuseIndex();
        }
        return data.get() + offsets[entry] + index * sizeof(T);
    }

    [[noreturn]] static void RefuseType();
    [[noreturn]] static void RefuseIndex();

    std::unique_ptr<char[]> data;
    std::unique_ptr<unsigned int[]> offsets;
    const FloorType* type;
    Poco::Timestamp timestamp;
};

}  // namespace velmora::benchmarks
