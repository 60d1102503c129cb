// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// A cold store's readings: a record layout, a stream of the newest 1,000 records, a subscriber that
// hears only of those that are too warm, and a question about the last minute.

#include "velmora/tessaryn/stream.h"
#include "velmora/tessaryn/stream_type.h"
#include "velmora/tessaryn/subscription_rules.h"

#include <Poco/Delegate.h>

#include <iostream>

using namespace velmora::core::tessaryn;

void Warn(SubscriptionArgs& args) {
    std::cout << "too warm: " << args.sample->GetDouble(0, 0) << '\n';
}

int main() {
    StreamType type;
    type.Add("temperature", Double, 1).Add("door_open", Bool, 1);

    Stream stream(&type, 1000);
    stream.Subscribe({Expression("temperature > 8.0"), Poco::delegate(&Warn)});
    for (double temperature : {7.5, 8.5, 9.0}) {
        stream.PushNew([&](Sample& sample) { sample.Set(0, 0, temperature); });
    }

    stream.GetLast(Poco::Timespan(60, 0), [](const std::vector<Sample*>& samples) {
        std::cout << samples.size() << " samples in the last minute\n";
    });
}
