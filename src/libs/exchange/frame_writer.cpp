// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "exchange/frame_writer.h"

#include "tessaryn/stream_type.h"

#include <ostream>
#include <stdexcept>

namespace velmora::exchange {

FrameWriter::FrameWriter(std::ostream& out) : out(out) {}

void FrameWriter::Write(const core::tessaryn::Sample& sample, const SampleInfo& info) {
    if (const core::tessaryn::StreamType* const type = sample.GetStreamType()) {
        if (!described.contains(encoder.GetFingerprint(*type))) {
            WriteType(*type);
        }
    }
    WriteFrame(encoder.Encode(sample, info));
}

void FrameWriter::WriteType(const core::tessaryn::StreamType& type) {
    WriteFrame(encoder.EncodeType(type));
    if (out.good()) {
        described.insert(encoder.GetFingerprint(type));
    }
}

void FrameWriter::ForgetTypes() {
    described.clear();
}

void FrameWriter::WriteFrame(std::string_view frame) {
    out.write(frame.data(), static_cast<std::streamsize>(frame.size()));
}

}  // namespace velmora::exchange
