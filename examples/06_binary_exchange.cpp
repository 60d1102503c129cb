// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Two sides that share a layout: one sends samples in their binary form, the other reads them into
// a stream of its own after it has compared the layouts' hashes.

#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <iostream>
#include <sstream>

using namespace velmora::core::tessaryn;

namespace {

StreamType MakeType() {
    StreamType type;
    type.Add("position", Double, 3).Add("label", String, 0);
    return type;
}

void Send(const Stream& stream, std::ostream& out) {
    stream.GetAll([&](const std::vector<Sample*>& samples) {
        for (const Sample* sample : samples) {
            sample->Serialize(out);
        }
    });
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

    std::stringstream wire;
    const std::string hash = here.GetHash();
    Send(sent, wire);

    StreamType there = MakeType();
    if (!there.IsHashCompatible(hash)) {
        std::cout << "the other side has another layout\n";
        return 1;
    }
    Stream received(&there, 10);
    while (wire.peek() != std::stringstream::traits_type::eof()) {
        received.PushNew(wire, nullptr);
    }
    received.GetAll([](const std::vector<Sample*>& samples) {
        for (const Sample* sample : samples) {
            std::cout << sample->GetString(1) << ": z = " << sample->GetDouble(0, 2) << '\n';
        }
    });
}
