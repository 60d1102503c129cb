// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/sample_batch.h"

#include "tessaryn/encoded_samples.h"

namespace velmora::core::tessaryn {

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
    EncodedSamples encoded(type, times, bytes);
    SampleBatch batch;
    batch.reserve(encoded.Count());
    while (batch.size() < encoded.Count()) {
        batch.push_back(encoded.DecodeNext());
    }
    return batch;
}

}  // namespace velmora::core::tessaryn
