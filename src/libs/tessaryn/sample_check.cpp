// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample_check.h"

#include "tessaryn/stream_type.h"
#include "tessaryn/value_traits.h"

#include <cstdint>

namespace velmora::core::tessaryn {

namespace {

std::string Count(std::uint64_t count, const std::string& what) {
    return std::to_string(count) + ' ' + what + (count == 1 ? "" : "s");
}

// Whether the bytes of an entry are complete elements, and not too many.
bool IsEntry(BaseType type, unsigned int bytes, const SampleLimits& limits) {
    const unsigned int elements = traits::ElementCount(type, bytes);
    return elements * traits::ElementSize(type) == bytes && elements <= limits.maxElements;
}

// Why the bytes from `begin` to `end` cannot be an entry.
std::string Describe(const SampleEntry& entry, unsigned int begin, unsigned int end,
                     const SampleLimits& limits) {
    const std::string name = "Entry '" + entry.key + "'";
    if (end < begin) {
        return name + " ends at byte " + std::to_string(end) + ", before it begins at byte " +
               std::to_string(begin) + ".";
    }
    const unsigned int width = traits::ElementSize(entry.type);
    const unsigned int elements = traits::ElementCount(entry.type, end - begin);
    if (elements * width != end - begin) {
        return name + " has " + Count(end - begin, "byte") + ", which elements of " +
               Count(width, "byte") + " don't fill.";
    }
    return name + " has " + Count(elements, "element") + ": more than the limit of " +
           std::to_string(limits.maxElements) + ".";
}

}  // namespace

std::string CheckSample(std::string_view bytes, const StreamType& type,
                        const SampleLimits& limits) {
    if (bytes.size() > limits.maxBytes) {
        return "The sample has " + Count(bytes.size(), "byte") + ": more than the limit of " +
               std::to_string(limits.maxBytes) + ".";
    }
    const std::size_t entries = type.GetNumEntries();
    const std::size_t table = (entries + 1) * sizeof(unsigned int);
    if (bytes.size() < table) {
        return "The offsets take " + Count(table, "byte") + ", but there are only " +
               std::to_string(bytes.size()) + ".";
    }
    const auto offsetAt = [bytes](std::size_t i) {
        return traits::Load<unsigned int>(bytes.data() + i * sizeof(unsigned int));
    };
    if (offsetAt(0) != 0) {
        return "The first entry begins at byte " + std::to_string(offsetAt(0)) + ", not at 0.";
    }
    for (std::size_t i = 0; i < entries; ++i) {
        const auto id = static_cast<unsigned short>(i);
        const unsigned int begin = offsetAt(i);
        const unsigned int end = offsetAt(i + 1);
        if (end < begin || !IsEntry(type.GetType(id), end - begin, limits)) {
            return Describe(type.GetEntry(id), begin, end, limits);
        }
    }
    const std::size_t there = bytes.size() - table;
    if (offsetAt(entries) != there) {
        return "The entries end at byte " + std::to_string(offsetAt(entries)) + ", but there are " +
               Count(there, "byte") + " of elements.";
    }
    return {};
}

}  // namespace velmora::core::tessaryn
