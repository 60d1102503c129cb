// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "velmora/delivery/conditions.h"
#include "velmora/delivery/dispatcher.h"
#include "velmora/tessaryn/stream.h"
#include "velmora/tessaryn/stream_type.h"

#include <chrono>
#include <iostream>

using namespace velmora::core::tessaryn;
using namespace velmora::delivery;

int main() {
    StreamType type;
    type.Add("temperature", Double, 1);
    Stream stream(&type, 100);
    Dispatcher dispatcher;
    Delivery delivery =
        dispatcher.Subscribe(stream, "temperature > 8.0",
                             [](const Change& change) {
                                 std::cout << "too warm: " << change.sample.GetDouble(0, 0) << '\n';
                             },
                             {.conditions = OnChange("temperature")});
    for (const double temperature : {7.5, 8.5, 8.5}) {
        stream.PushNew([&](Sample& sample) { sample.Set(0, 0, temperature); });
    }
    return delivery.Drain(std::chrono::seconds(60)) ? 0 : 1;
}
