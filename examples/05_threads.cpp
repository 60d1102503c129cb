// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Four sensors push into one stream from threads of their own. The delegate runs on their threads,
// under the stream's locks, so it only hands the alarms on to a worker.

#include "velmora/tessaryn/stream.h"
#include "velmora/tessaryn/stream_type.h"
#include "velmora/tessaryn/subscription_rules.h"

#include <Poco/Delegate.h>

#include <condition_variable>
#include <deque>
#include <iostream>
#include <mutex>
#include <optional>
#include <thread>

using namespace velmora::core::tessaryn;

namespace {

// Alarms on their way from the sensors' threads to the worker: copies, which need no stream.
class Inbox {
  public:
    void OnAlarm(SubscriptionArgs& args) { Put(*args.sample); }
    void Put(const std::optional<Sample>& alarm) {
        const std::lock_guard lock(mutex);
        alarms.push_back(alarm);
        arrived.notify_one();
    }

    std::optional<Sample> Take() {
        std::unique_lock lock(mutex);
        arrived.wait(lock, [this] { return !alarms.empty(); });
        std::optional<Sample> alarm = std::move(alarms.front());
        alarms.pop_front();
        return alarm;
    }

  private:
    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<std::optional<Sample>> alarms;
};

}  // namespace

int main() {
    StreamType type;
    type.Add("sensor", Int32, 1).Add("celsius", Double, 1);
    Stream stream(&type, 500);
    Inbox inbox;
    stream.Subscribe({Expression("celsius >= 90"), Poco::delegate(&inbox, &Inbox::OnAlarm)});

    int alarms[4] = {};
    std::thread worker([&] {
        while (const std::optional<Sample> alarm = inbox.Take()) {
            ++alarms[alarm->GetInt32(0, 0)];
        }
    });
    std::deque<std::jthread> sensors;
    for (int sensor = 0; sensor < 4; ++sensor) {
        sensors.emplace_back([&stream, sensor] {
            for (int reading = 0; reading < 1000; ++reading) {
                stream.PushNew([&](Sample& sample) {
                    sample.Set(0, 0, sensor);
                    sample.Set(1, 0, static_cast<double>(reading % 100));
                });
            }
        });
    }
    sensors.clear();  // joins
    inbox.Put(std::nullopt);
    worker.join();

    stream.GetAll([](const auto& kept) { std::cout << kept.size() << " of 4000 readings kept\n"; });
    for (int sensor = 0; sensor < 4; ++sensor) {
        std::cout << "sensor " << sensor << ": " << alarms[sensor] << " alarms\n";
    }
}
