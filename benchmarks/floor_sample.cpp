// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "floor_sample.h"

#include <istream>
#include <ostream>
#include <stdexcept>

namespace velmora::benchmarks {

const FloorType& FloorTypeOfValues() {
    static const FloorType type{
        {BaseType::Double, BaseType::Float, BaseType::Int32, BaseType::String}, {0, 8, 24, 28, 40}};
    return type;
}

const FloorType& FloorTypeOfMoreValues() {
    static const FloorType type{
        {BaseType::Double, BaseType::Float, BaseType::Int32, BaseType::String, BaseType::Int64,
         BaseType::Bool, BaseType::Float},
        {0, 8, 24, 28, 40, 48, 49, 53}};
    return type;
}

FloorSample::FloorSample(const FloorType& sampleType, const Poco::Timestamp& time)
    : data(std::make_unique<char[]>(sampleType.offsets.back())),
      offsets(std::make_unique_for_overwrite<unsigned int[]>(sampleType.offsets.size())),
      type(&sampleType),
      timestamp(time) {
    std::memcpy(offsets.get(), type->offsets.data(), type->offsets.size() * sizeof(unsigned int));
}

FloorSample::FloorSample(const FloorSample& other) : type(other.type), timestamp(other.timestamp) {
    const std::size_t count = type->offsets.size();
    const unsigned int total = other.offsets[count - 1];
    data = std::make_unique_for_overwrite<char[]>(total);
    offsets = std::make_unique_for_overwrite<unsigned int[]>(count);
    std::memcpy(data.get(), other.data.get(), total);
    std::memcpy(offsets.get(), other.offsets.get(), count * sizeof(unsigned int));
}

FloorSample::~FloorSample() = default;

void FloorSample::Deserialize(std::istream& in) {
    const std::size_t count = type->offsets.size();
    const unsigned int total = offsets[count - 1];
    in.read(reinterpret_cast<char*>(offsets.get()),
            static_cast<std::streamsize>(count * sizeof(unsigned int)));
    const unsigned int newTotal = offsets[count - 1];
    if (newTotal != total) {
        data = std::make_unique_for_overwrite<char[]>(newTotal);
    }
    in.read(data.get(), newTotal);
}

void FloorSample::Serialize(std::ostream& out) const {
    const std::size_t count = type->offsets.size();
    out.write(reinterpret_cast<const char*>(offsets.get()),
              static_cast<std::streamsize>(count * sizeof(unsigned int)));
    out.write(data.get(), offsets[count - 1]);
}

void FloorSample::RefuseType() {
    throw std::invalid_argument("another type");
}

void FloorSample::RefuseIndex() {
    throw std::out_of_range("no such element");
}

}  // namespace velmora::benchmarks
