// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <cstdint>
#include <limits>
#include <string_view>
#include <typeinfo>

namespace velmora::core::tessaryn {

/// Whether the sample is not of a derived class, which may override what it answers: then its
/// memory tells all about it.
inline bool IsExactSample(const Sample& sample) {
    return &typeid(sample) == &typeid(Sample);
}

/// Reads the memory of an exact `Sample`, without the virtual getters.
///
/// \threadsafety external, as the sample
class SampleView {
  public:
    /// \param sample \ownership observes: an exact `Sample`, which must not change meanwhile
    explicit SampleView(const Sample& sample)
        : data(sample.data.get()),
          offsets(sample.offsets.get()),
          numOffsets(sample.numOffsets),
          type(sample.streamType),
          layoutNumber(type == nullptr ? 0 : type->GetLayoutNumber()),
          numberIfWhole(type != nullptr && type->GetNumEntries() + 1U == numOffsets
                            ? layoutNumber
                            : std::numeric_limits<std::uint64_t>::max()) {}

    /// Null for a sample that was moved from.
    const StreamType* Type() const { return type; }
    /// The number of the type's present state; 0 without a type.
    std::uint64_t LayoutNumber() const { return layoutNumber; }
    /// The same of a sample that has all the type's entries; else a number that no type has.
    std::uint64_t NumberIfWhole() const { return numberIfWhole; }

    /// The bytes of an entry; none of one that the sample doesn't have.
    std::string_view Bytes(unsigned short entry) const {
        // The stream type may have got an entry that this sample doesn't have.
        return std::uint32_t{entry} + 1 < numOffsets ? BytesOfKnown(entry) : std::string_view();
    }

    /// The bytes of an entry that the sample has.
    std::string_view BytesOfKnown(unsigned short entry) const {
        const unsigned int begin = offsets[entry];
        return {data + begin, offsets[std::size_t{entry} + 1] - begin};
    }

  private:
    const char* data;
    const unsigned int* offsets;
    std::uint32_t numOffsets;
    const StreamType* type;
    std::uint64_t layoutNumber;
    std::uint64_t numberIfWhole;
};

}  // namespace velmora::core::tessaryn
