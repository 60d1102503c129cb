// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/sample_converter.h"

#include <cstring>
#include <limits>

namespace velmora::storage {

using core::tessaryn::Sample;
using core::tessaryn::StreamType;

namespace {

constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

unsigned int OffsetAt(const std::string& binary, std::size_t index) {
    unsigned int offset = 0;
    std::memcpy(&offset, binary.data() + index * sizeof offset, sizeof offset);
    return offset;
}

}  // namespace

SampleConverter::SampleConverter(const StreamType& source, StreamType& target)
    : target(target),
      sourceEntries(source.GetNumEntries()),
      isPossible(false),
      isSame(source.HasSameLayout(target)) {
    for (unsigned short i = 0; i < target.GetNumEntries(); ++i) {
        const std::string name = target.GetEntry(i).key;
        const bool isThere =
            source.EntryExists(name) && source.GetType(source.EntryId(name)) == target.GetType(i);
        origins.push_back(isThere ? source.EntryId(name) : none);
        isPossible = isPossible || isThere;
    }
    isPossible = isPossible || isSame;
}

std::unique_ptr<Sample> SampleConverter::Convert(const Sample& sample) {
    binary.str({});
    binary.clear();
    sample.Serialize(binary);
    if (!isSame) {
        Rearrange();
    }
    auto converted = std::make_unique<Sample>(&target, sample.GetTimeStamp());
    converted->Deserialize(binary);
    return converted;
}

// From the source's binary form to the target's: offsets, then elements.
void SampleConverter::Rearrange() {
    const std::string from = binary.str();
    const std::size_t fromElements = (sourceEntries + 1) * sizeof(unsigned int);
    std::string table;
    std::string elements;
    const auto appendOffset = [&] {
        const auto offset = static_cast<unsigned int>(elements.size());
        table.append(reinterpret_cast<const char*>(&offset), sizeof offset);
    };
    for (std::size_t i = 0; i < origins.size(); ++i) {
        appendOffset();
        const auto entry = static_cast<unsigned short>(i);
        if (origins[i] == none) {
            elements.append(target.GetMemoryOffset(entry + 1) - target.GetMemoryOffset(entry),
                            '\0');
        } else {
            const unsigned int begin = OffsetAt(from, origins[i]);
            elements.append(from, fromElements + begin, OffsetAt(from, origins[i] + 1) - begin);
        }
    }
    appendOffset();
    binary.str(table + elements);
}

}  // namespace velmora::storage
