// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Readings that bring their own time, in a ring that has wrapped: what each query hands over, in
// which order, and how a host sorts or sums up the answer.

#include "velmora/tessaryn/stream.h"
#include "velmora/tessaryn/stream_type.h"

#include <Poco/DateTime.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

using namespace velmora::core::tessaryn;

namespace {

using Samples = std::vector<Sample*>;

const Poco::Timestamp noon = Poco::DateTime(2020, 1, 1, 12).timestamp();

Poco::Timestamp Minute(int minute) {
    return noon + Poco::Timespan(60L * minute, 0);
}

// A setter stamps the reading with the present time, so its own time comes last.
void Push(Stream& tank, int minute, double level) {
    Sample reading(tank.GetStreamType(), Poco::Timestamp());
    reading.Set(0, 0, level);
    tank.PushNew(new Sample(Restamped(std::move(reading), Minute(minute))));
}

void Print(const std::string& title, const Samples& samples) {
    std::cout << title << ':';
    for (const Sample* sample : samples) {
        std::cout << " +" << (sample->GetTimeStamp() - noon) / 60'000'000 << "min";
    }
    std::cout << '\n';
}

}  // namespace

int main() {
    StreamType type;
    type.Add("level", Double, 1);
    Stream tank(&type, 4);
    for (int minute = 0; minute < 6; ++minute) {
        Push(tank, minute, 10 + 0.5 * minute);
    }

    tank.GetAll([](const Samples& kept) {
        Print("kept, in storage order", kept);
        Samples sorted = kept;
        std::sort(sorted.begin(), sorted.end(), [](const Sample* a, const Sample* b) {
            return a->GetTimeStamp() < b->GetTimeStamp();
        });
        Print("oldest first", sorted);
    });
    tank.GetSince(Minute(4), [](const Samples& late) { Print("from minute 4 on", late); });
    tank.GetBetween(Minute(2), Minute(4), [](const Samples& some) {
        double sum = 0;
        for (const Sample* sample : some) {
            sum += sample->GetDouble(0, 0);
        }
        std::cout << "mean of minutes 2 to 4: " << sum / static_cast<double>(some.size()) << '\n';
    });
    tank.GetLatest([](const Sample& newest) {
        std::cout << "newest level: " << newest.GetDouble(0, 0) << '\n';
    });
    // Looks back from the present time, not from the newest sample.
    tank.GetLast(Poco::Timespan(60, 0), [](const Samples& last) {
        std::cout << "in the last minute: " << last.size() << '\n';
    });
}
