// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Two streams, pushed to by a thread each, and one worker that counts alarms, fed through bounded
// queues: no sensor ever waits for it.

#include "velmora/delivery/dispatcher.h"
#include "velmora/tessaryn/stream.h"
#include "velmora/tessaryn/stream_type.h"

#include <array>
#include <chrono>
#include <functional>
#include <iostream>
#include <thread>

using namespace velmora::core::tessaryn;
using namespace velmora::delivery;

int main() {
    StreamType type;
    type.Add("celsius", Double, 1);
    std::array<Stream, 2> sensors = {Stream(&type, 500), Stream(&type, 500)};

    std::array<int, 2> alarms = {};
    Dispatcher worker;
    std::array<Delivery, 2> deliveries;
    for (std::size_t i = 0; i < sensors.size(); ++i) {
        deliveries[i] = worker.Subscribe(sensors[i], "celsius >= 90",
                                         [&alarms, i](const Change&) { ++alarms[i]; },
                                         {.capacity = 1000, .overflow = Overflow::dropOldest});
    }
    const auto run = [](Stream& sensor) {
        for (int reading = 0; reading < 1000; ++reading) {
            sensor.PushNew([&](Sample& sample) { sample.Set(0, 0, double(reading % 100)); });
        }
    };
    {
        const std::jthread first(run, std::ref(sensors[0]));
        const std::jthread second(run, std::ref(sensors[1]));
    }
    worker.Drain(std::chrono::seconds(10));
    std::cout << alarms[0] << " and " << alarms[1] << " alarms, " << worker.GetStatistics().dropped
              << " dropped\n";
}
