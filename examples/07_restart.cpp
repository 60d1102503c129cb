// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// A host that is started three times, and each time continues with the samples that it had: texts,
// infinities, times and the order of pushing included.

#include "velmora/storage/document.h"
#include "velmora/tessaryn/sample.h"
#include "velmora/tessaryn/stream.h"
#include "velmora/tessaryn/stream_type.h"

#include <Poco/TemporaryFile.h>
#include <Poco/Timestamp.h>

#include <iostream>
#include <limits>
#include <string>
#include <vector>

using namespace velmora::core::tessaryn;
using namespace velmora::storage;

namespace {

void RunHost(const std::string& file, int start) {
    StreamType layout;
    layout.Add("note", String, 0).Add("flow", Double, 2);

    Document document = OpenDocument(file);
    Stream& pump = OpenStream(document, "plant/north/pump 1", layout, 4);
    std::cout << "start " << start << " finds " << pump.GetNumSamples() << '\n';
    for (int push = 1; push <= 2; ++push) {
        Sample sample(pump.GetStreamType(), Poco::Timestamp());
        sample.Set(0, "start " + std::to_string(start) + ", push " + std::to_string(push));
        sample.Set(1, 0, start / 3.0);
        sample.Set(1, 1, std::numeric_limits<double>::infinity());
        // Ten seconds apart, from before 1970 on.
        const Poco::Timestamp time((2 * start + push - 5) * 10 * Poco::Timestamp::resolution());
        pump.PushNew(new Sample(Restamped(std::move(sample), time)));
    }
    SaveDocument(file, document);
}

}  // namespace

int main() {
    const Poco::TemporaryFile folder;
    Poco::File(folder.path()).createDirectory();
    const std::string file = folder.path() + "/plant.xml";
    for (int start = 1; start <= 3; ++start) {
        RunHost(file, start);
    }
    const Document kept = LoadDocument(file);
    kept.streams->GetStream("plant/north/pump 1")
        .GetAllInPushOrder([](const std::vector<Sample*>& samples) {
            for (const Sample* const sample : samples) {
                std::cout << sample->GetTimeStamp().epochTime() << " s: " << sample->GetString(0)
                          << ", flow " << sample->GetDouble(1, 0) << " and "
                          << sample->GetDouble(1, 1) << '\n';
            }
        });
}
