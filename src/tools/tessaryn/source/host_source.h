// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "source/sample_source.h"
#include "terminal/signal_watcher.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// This machine's live figures, a sample every interval:
///
/// | entry | type | what |
/// |---|---|---|
/// | load | Double x 3 | load averages of 1, 5 and 15 minutes |
/// | cpu | Double x cores | busy share of each core, 0 to 1, since the previous sample |
/// | memory_total, memory_available | UInt64 | bytes |
/// | network | UInt64 x 2 | bytes received and sent since the machine's start, without loopback |
/// | hostname | String | |
///
/// The first sample has the busy shares since the machine's start.
class HostSource : public SampleSource {
  public:
    /// \param signals \ownership observes: a signal ends waiting for the next sample
    HostSource(std::chrono::microseconds interval, SignalWatcher& signals);

    void BeforeWait(std::function<void(const SourceProgress&)> action) override {
        beforeWait = std::move(action);
    }
    bool Open(core::tessaryn::StreamType& type) override;
    bool Next() override;
    std::int64_t GetTime() const override { return time; }
    void Fill(core::tessaryn::Sample& sample) override;
    std::string GetPosition() const override;

  private:
    /// Ticks that a core has spent since the machine's start.
    struct CoreTimes {
        std::uint64_t busy = 0;
        std::uint64_t total = 0;
    };

    const std::string& ReadText(const char* path);
    void ReadLoad();
    void ReadCores();
    void ReadMemory();
    void ReadNetwork();

    std::chrono::microseconds interval;
    SignalWatcher& signals;
    std::function<void(const SourceProgress&)> beforeWait;
    SignalWatcher::Clock::time_point due;
    std::uint64_t samples = 0;
    std::int64_t time = 0;

    std::string text;
    double load[3] = {};
    std::vector<CoreTimes> times;
    std::vector<double> shares;
    unsigned long long memoryTotal = 0;
    unsigned long long memoryAvailable = 0;
    unsigned long long network[2] = {};
    std::string hostname;
};

}  // namespace velmora::tool
