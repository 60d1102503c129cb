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

/// Whether the sample is of no derived class, so that its getters return what its memory holds.
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
          alignedCompleteNumber((type != nullptr && numOffsets > type->GetNumEntries()
                                     ? layoutNumber
                                     : std::numeric_limits<std::uint64_t>::max())
                                << (64 - StreamType::layoutNumberBits)) {}

    /// Null for a sample that was moved from.
    const StreamType* Type() const { return type; }
    /// The number of the type's present state; 0 without a type.
    std::uint64_t LayoutNumber() const { return layoutNumber; }
    /// The same of a sample that has all entries of its type. The type may have got more since the
    /// sample was made: then a number that no type has.
    /// In the highest `StreamType::layoutNumberBits` bits.
    std::uint64_t AlignedCompleteNumber() const { return alignedCompleteNumber; }

    /// The bytes of an entry; none of one that the sample does not have.
    std::string_view Bytes(unsigned short entry) const {
        return std::uint32_t{entry} + 1 < numOffsets ? BytesOfExisting(entry) : std::string_view();
    }

    /// The bytes of an entry that the sample has.
    std::string_view BytesOfExisting(unsigned short entry) const {
        const unsigned int begin = offsets[entry];
        return {data + begin, offsets[std::size_t{entry} + 1] - begin};
    }

  private:
    const char* data;
    const unsigned int* offsets;
    std::uint32_t numOffsets;
    const StreamType* type;
    std::uint64_t layoutNumber;
    std::uint64_t alignedCompleteNumber;
};

}  // namespace velmora::core::tessaryn
