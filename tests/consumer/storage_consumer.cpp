// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "velmora/storage/document.h"
#include "velmora/tessaryn/stream.h"
#include "velmora/tessaryn/stream_type.h"

#include <string>

using namespace velmora::core::tessaryn;
using namespace velmora::storage;

int main(int argc, char** argv) {
    const std::string path = argc > 1 ? argv[1] : "plant.json";
    StreamType layout;
    layout.Add("temperature", Double, 1);
    Document document = OpenDocument(path);
    Stream& stream = OpenStream(document, "plant/line1", layout, 100);
    const int kept = stream.GetNumSamples();
    stream.PushNew([](Sample& sample) { sample.Set(0, 0, 7.5); });
    SaveDocument(path, document);
    const Document again = LoadDocument(path);
    return again.streams->GetStream("plant/line1").GetNumSamples() == kept + 1 ? 0 : 1;
}
