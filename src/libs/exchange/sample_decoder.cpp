// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/sample_decoder.h"

#include "exchange/exchange_exception.h"
#include "tessaryn/sample_time.h"
#include "tessaryn/stream_type.h"

#include <istream>
#include <streambuf>
#include <string>
#include <string_view>

namespace velmora::exchange {

// A payload as a stream for `Sample::Deserialize`.
class SampleDecoder::Buffer : private std::streambuf {
  public:
    Buffer() : stream(this) {}

    std::istream& Open(std::string_view bytes) {
        // The get area is never written to.
        char* const begin = const_cast<char*>(bytes.data());
        setg(begin, begin, begin + bytes.size());
        stream.clear();
        return stream;
    }

  private:
    std::istream stream;
};

SampleDecoder::SampleDecoder(const core::tessaryn::SampleLimits& limits)
    : limits(limits), buffer(std::make_unique<Buffer>()) {}

SampleDecoder::~SampleDecoder() = default;

core::tessaryn::Sample& SampleDecoder::Decode(const Frame& frame,
                                              core::tessaryn::StreamType& type) {
    if (const std::string fault = core::tessaryn::CheckSample(frame.payload, type, limits);
        !fault.empty()) {
        throw ExchangeException("A sample of type '" + type.GetFullName() + "': " + fault);
    }
    const Poco::Timestamp time(frame.header.time);
    // Reuses the previous sample's memory unless the host has taken it.
    if (sample.GetStreamType() == &type) {
        core::tessaryn::SetTimeStamp(sample, time);
    } else {
        sample = core::tessaryn::Sample(&type, time);
    }
    sample.Deserialize(buffer->Open(frame.payload));
    return sample;
}

}  // namespace velmora::exchange
