// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/export.h"
#include "exchange/frame.h"
#include "tessaryn/sample.h"
#include "tessaryn/sample_check.h"

#include <memory>

namespace velmora::exchange {

/// Makes samples from frames.
///
/// \threadsafety external
class EXCHANGE_API SampleDecoder {
  public:
    explicit SampleDecoder(const core::tessaryn::SampleLimits& limits = {});
    SampleDecoder(const SampleDecoder&) = delete;
    SampleDecoder& operator=(const SampleDecoder&) = delete;
    ~SampleDecoder();

    /// The sample of a frame, with the frame's time.
    /// \param frame of kind `sample`
    /// \param type that of the frame's fingerprint. \ownership observes: must outlive the sample
    /// \return \ownership lends: until the next call; may be moved from
    /// \throws ExchangeException when the payload is not a sample of the type, or exceeds the
    /// limits
    core::tessaryn::Sample& Decode(const Frame& frame, core::tessaryn::StreamType& type);

  private:
    class Buffer;

    core::tessaryn::SampleLimits limits;
    std::unique_ptr<Buffer> buffer;
    core::tessaryn::Sample sample;
};

}  // namespace velmora::exchange
