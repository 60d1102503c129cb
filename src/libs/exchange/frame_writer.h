// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/export.h"
#include "exchange/frame_encoder.h"

#include <iosfwd>
#include <string_view>
#include <unordered_set>

namespace velmora::exchange {

/// Writes samples as frames; the description of each layout precedes its first sample.
///
/// Errors are reported by the stream's state; a description that could not be written is written
/// again. The stream must outlive the writer.
///
/// \threadsafety external
class EXCHANGE_API FrameWriter {
  public:
    /// \param out \ownership observes: binary; frames are aligned relative to its position
    explicit FrameWriter(std::ostream& out);

    /// Writes a sample and, before the first one of its layout, the layout's description.
    /// \throws std::invalid_argument, std::length_error as `FrameEncoder::Encode`; the sample is
    /// then not written
    void Write(const core::tessaryn::Sample& sample, const SampleInfo& info = {});

    /// Writes the description of a type, even if it was written before.
    /// \throws std::length_error as `FrameEncoder::EncodeType`
    void WriteType(const core::tessaryn::StreamType& type);

    /// Forgets which descriptions were written, such as for a new peer.
    void ForgetTypes();

  private:
    void WriteFrame(std::string_view frame);

    std::ostream& out;
    FrameEncoder encoder;
    std::unordered_set<Fingerprint> described;
};

}  // namespace velmora::exchange
