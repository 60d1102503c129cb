// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/encoded_samples.h"

#include "tessaryn/sample_access.h"
#include "tessaryn/sample_check.h"
#include "tessaryn/stream_type.h"

#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace velmora::core::tessaryn {

// Whether the next sample has the sizes of the one that was checked last, as most have.
inline bool EncodedSamples::IsLikeChecked() const {
    return !checked.empty() && bytes.size() - begin >= checked.size() &&
           std::memcmp(bytes.data() + begin, checked.data(), tableSize) == 0;
}

EncodedSamples::EncodedSamples(StreamType& type, std::span<const Poco::Timestamp::TimeVal> times,
                               std::string_view bytes)
    : type(type),
      times(times),
      bytes(bytes),
      tableSize((std::size_t{type.GetNumEntries()} + 1) * sizeof(unsigned int)),
      layout(type.GetLayoutNumber()) {
    for (; number < times.size(); ++number) {
        begin += IsLikeChecked() ? checked.size() : CheckedNext().size();
    }
    if (begin != bytes.size()) {
        throw std::invalid_argument("The " + std::to_string(times.size()) +
                                    " samples of the batch end at byte " + std::to_string(begin) +
                                    " of " + std::to_string(bytes.size()) + ".");
    }
    number = begin = 0;
}

std::unique_ptr<Sample> EncodedSamples::DecodeNext(std::unique_ptr<Sample> discarded) {
    const bool isChecked = type.GetLayoutNumber() == layout;
    const std::string_view next = isChecked ? Next() : CheckedNext();
    auto sample =
        SampleAccess::Decode(type, Poco::Timestamp(times[number]), next, std::move(discarded));
    ++number;
    begin += next.size();
    return sample;
}

std::string_view EncodedSamples::CheckedNext() {
    constexpr SampleLimits noLimits{std::numeric_limits<std::size_t>::max(),
                                    std::numeric_limits<unsigned int>::max()};
    const std::string_view next = Next();
    if (const std::string fault = CheckSample(next, type, noLimits); !fault.empty()) {
        throw std::invalid_argument("Sample " + std::to_string(number) + " of the batch: " + fault);
    }
    checked = next;
    return next;
}

// The bytes of the next sample; fewer if the input is shorter.
std::string_view EncodedSamples::Next() const {
    const std::string_view rest = bytes.substr(begin);
    if (rest.size() < tableSize) {
        return rest;
    }
    const std::size_t elements =
        traits::Load<unsigned int>(rest.data() + tableSize - sizeof(unsigned int));
    return rest.substr(0, tableSize + elements);
}

}  // namespace velmora::core::tessaryn
