// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "velmora/exchange/frame_reader.h"
#include "velmora/exchange/frame_writer.h"
#include "velmora/tessaryn/stream_type.h"

#include <sstream>

using namespace velmora::core::tessaryn;
using namespace velmora::exchange;

int main() {
    StreamType type;
    type.Add("temperature", Double, 1);
    Sample sample(&type, Poco::Timestamp());
    sample.Set(0, 0, 8.5);
    std::stringstream frames;
    FrameWriter(frames).Write(sample);
    LayoutRegistry layouts;
    FrameReader reader(frames, layouts);
    const bool isRead =
        reader.Read() == FrameReader::Result::type && reader.Read() == FrameReader::Result::sample;
    return isRead && reader.GetSample().GetDouble(0, 0) == 8.5 ? 0 : 1;
}
