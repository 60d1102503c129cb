// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Two hosts that share a layout: one sends samples in their binary form, a packet each; the other
// trusts nobody, and pushes only what proves to be a sample of its own type.

#include "velmora/tessaryn/sample_check.h"
#include "velmora/tessaryn/stream.h"
#include "velmora/tessaryn/stream_type.h"

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

using namespace velmora::core::tessaryn;

namespace {

StreamType MakeType() {
    StreamType type;
    type.Add("position", Double, 3).Add("label", String, 0);
    return type;
}

std::vector<std::string> Send(const Stream& stream) {
    std::vector<std::string> packets;
    stream.GetAll([&](const std::vector<Sample*>& samples) {
        for (const Sample* sample : samples) {
            std::ostringstream packet;
            sample->Serialize(packet);
            packets.push_back(packet.str());
        }
    });
    return packets;
}

void Receive(Stream& stream, const std::string& packet) {
    SampleLimits limits;
    limits.maxBytes = 1000;
    const std::string fault = CheckSample(packet, *stream.GetStreamType(), limits);
    if (!fault.empty()) {
        std::cout << "refused: " << fault << '\n';
        return;
    }
    std::istringstream in(packet);
    stream.PushNew(in, nullptr);
}

}  // namespace

int main() {
    StreamType here = MakeType();
    Stream sent(&here, 10);
    for (const char* label : {"start", "half way", "end"}) {
        sent.PushNew([&](Sample& sample) {
            sample.Set(1, label);
            sample.Set(0, 2, static_cast<double>(sample.GetSize(1)));
        });
    }
    std::vector<std::string> packets = Send(sent);
    packets.push_back(packets.back().substr(0, 30));

    // The hashes are exchanged once, when the hosts meet.
    StreamType there = MakeType();
    if (!there.IsHashCompatible(here.GetHash())) {
        std::cout << "the other side has another layout\n";
        return 1;
    }
    Stream received(&there, 10);
    for (const std::string& packet : packets) {
        Receive(received, packet);
    }
    received.GetAll([](const std::vector<Sample*>& samples) {
        for (const Sample* sample : samples) {
            std::cout << sample->GetString(1) << ": z = " << sample->GetDouble(0, 2) << '\n';
        }
    });
}
