// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <cstdint>
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
          layout(type != nullptr && numOffsets > type->GetNumEntries() ? type->GetLayoutNumber()
                                                                       : 0) {}

    /// Null for a sample that was moved from.
    const StreamType* Type() const { return type; }
    /// The number of the type's present state, if the sample has all entries of the type; else 0.
    /// The type may have got more since the sample was made.
    std::uint64_t CompleteLayout() const { return layout; }

    /// The bytes of an entry; none of one that the sample does not have.
    std::string_view Bytes(unsigned short entry) const {
        return std::uint32_t{entry} + 1 < numOffsets ? BytesOfExisting(entry) : std::string_view();
    }

    /// The bytes of an entry that the sample has.
    std::string_view BytesOfExisting(unsigned short entry) const {
        const unsigned int begin = offsets[entry];
        return {data + begin, offsets[std::size_t{entry} + 1] - begin};
    }

    /// The bytes of all entries, and where each begins, with the end.
    std::string_view AllBytes() const {
        return {data, numOffsets > 0 ? offsets[numOffsets - 1] : 0};
    }
    std::string_view Offsets() const {
        return {reinterpret_cast<const char*>(offsets), numOffsets * sizeof(unsigned int)};
    }

  private:
    const char* data;
    const unsigned int* offsets;
    std::uint32_t numOffsets;
    const StreamType* type;
    std::uint64_t layout;
};

}  // namespace velmora::core::tessaryn
