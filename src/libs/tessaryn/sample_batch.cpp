// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample_batch.h"

#include "tessaryn/sample_access.h"
#include "tessaryn/sample_check.h"
#include "tessaryn/stream_type.h"

#include <algorithm>
#include <limits>

namespace velmora::core::tessaryn {

namespace {

// The bytes of the first sample, as far as there are so many.
std::string_view FirstSample(std::string_view bytes, std::size_t tableSize) {
    if (bytes.size() < tableSize) {
        return bytes;
    }
    const std::size_t elements =
        traits::Load<unsigned int>(bytes.data() + tableSize - sizeof(unsigned int));
    return bytes.substr(0, tableSize + elements);
}

}  // namespace

SampleBatch MakeSamples(StreamType& type, std::span<const Poco::Timestamp::TimeVal> times) {
    SampleBatch batch;
    batch.reserve(times.size());
    for (const Poco::Timestamp::TimeVal time : times) {
        batch.push_back(std::make_unique<Sample>(&type, Poco::Timestamp(time)));
    }
    return batch;
}

SampleBatch DecodeSamples(StreamType& type, std::span<const Poco::Timestamp::TimeVal> times,
                          std::string_view bytes) {
    constexpr SampleLimits noLimits{std::numeric_limits<std::size_t>::max(),
                                    std::numeric_limits<unsigned int>::max()};
    const std::size_t tableSize = (std::size_t{type.GetNumEntries()} + 1) * sizeof(unsigned int);
    std::size_t end = 0;
    SampleBatch batch;
    // No more than there can be.
    batch.reserve(std::min(times.size(), bytes.size() / tableSize));
    for (const Poco::Timestamp::TimeVal time : times) {
        const std::string_view first = FirstSample(bytes.substr(end), tableSize);
        if (const std::string fault = CheckSample(first, type, noLimits); !fault.empty()) {
            throw std::invalid_argument("Sample " + std::to_string(batch.size()) +
                                        " of the batch: " + fault);
        }
        batch.push_back(SampleAccess::Decode(type, Poco::Timestamp(time), first));
        end += first.size();
    }
    if (end != bytes.size()) {
        throw std::invalid_argument("The " + std::to_string(times.size()) +
                                    " samples of the batch end at byte " + std::to_string(end) +
                                    " of " + std::to_string(bytes.size()) + ".");
    }
    return batch;
}

}  // namespace velmora::core::tessaryn
