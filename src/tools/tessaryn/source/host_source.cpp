// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "source/host_source.h"

#include "command_error.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

// Removes the first word from a text.
std::string_view TakeWord(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    const std::string_view word = text.substr(0, text.find_first_of(" \t\n"));
    text.remove_prefix(word.size());
    return word;
}

std::string_view TakeLine(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return line;
}

template <class T>
T TakeNumber(std::string_view& text) {
    const std::string_view word = TakeWord(text);
    T value{};
    std::from_chars(word.data(), word.data() + word.size(), value);
    return value;
}

std::string HostName() {
    std::array<char, 256> name{};
    gethostname(name.data(), name.size() - 1);
    return name.data();
}

}  // namespace

HostSource::HostSource(std::chrono::microseconds interval, SignalWatcher& signals)
    : interval(interval),
      signals(signals),
      due(SignalWatcher::Clock::now()),
      hostname(HostName()) {}

bool HostSource::Open(tsn::StreamType& type) {
    ReadCores();
    const auto cores = static_cast<unsigned int>(shares.size());
    // Starts at zero, so that the first sample has the shares since the machine's start.
    times.assign(times.size(), {});
    type.Add("load", tsn::Double, 3)
        .Add("cpu", tsn::Double, cores)
        .Add("memory_total", tsn::UInt64, 1)
        .Add("memory_available", tsn::UInt64, 1)
        .Add("network", tsn::UInt64, 2)
        .Add("hostname", tsn::String, 0);
    return true;
}

bool HostSource::Next() {
    if (beforeWait) {
        beforeWait({});
    }
    if (signals.WaitReadable(-1, due) == SignalWatcher::Event::stopped) {
        return false;
    }
    ReadLoad();
    ReadCores();
    ReadMemory();
    ReadNetwork();
    ++samples;
    time = Poco::Timestamp().epochMicroseconds();
    // Samples missed while the machine slept are not made up for.
    due = std::max(due + interval, SignalWatcher::Clock::now());
    return true;
}

std::string HostSource::GetPosition() const {
    return "host:" + std::to_string(samples);
}

const std::string& HostSource::ReadText(const char* path) {
    std::ifstream file(path);
    text.assign(std::istreambuf_iterator<char>(file), {});
    if (!file) {
        throw CommandError("cannot read " + std::string(path) + ": " + std::strerror(errno));
    }
    return text;
}

void HostSource::ReadLoad() {
    std::string_view rest = ReadText("/proc/loadavg");
    for (double& average : load) {
        average = TakeNumber<double>(rest);
    }
}

void HostSource::ReadCores() {
    std::string_view rest = ReadText("/proc/stat");
    const bool first = times.empty();
    for (std::size_t core = 0; !rest.empty();) {
        std::string_view line = TakeLine(rest);
        const std::string_view name = TakeWord(line);
        if (!name.starts_with("cpu") || name.size() == 3) {
            continue;
        }
        if (first) {
            times.emplace_back();
            shares.push_back(0);
        }
        if (core == times.size()) {
            return;
        }
        // user, nice, system, idle, iowait, irq, softirq, steal; guests are part of user.
        CoreTimes now;
        for (int field = 0; field < 8; ++field) {
            const auto ticks = TakeNumber<std::uint64_t>(line);
            now.total += ticks;
            now.busy += field == 3 || field == 4 ? 0 : ticks;
        }
        CoreTimes& before = times[core];
        // The system's iowait may decrease.
        if (now.total > before.total && now.busy >= before.busy) {
            shares[core] = static_cast<double>(now.busy - before.busy) /
                           static_cast<double>(now.total - before.total);
            shares[core] = std::min(shares[core], 1.0);
            before = now;
        }
        ++core;
    }
}

void HostSource::ReadMemory() {
    std::string_view rest = ReadText("/proc/meminfo");
    while (!rest.empty()) {
        std::string_view line = TakeLine(rest);
        const std::string_view name = TakeWord(line);
        if (name == "MemTotal:") {
            memoryTotal = 1024 * TakeNumber<unsigned long long>(line);
        } else if (name == "MemAvailable:") {
            memoryAvailable = 1024 * TakeNumber<unsigned long long>(line);
        }
    }
}

void HostSource::ReadNetwork() {
    std::string_view rest = ReadText("/proc/net/dev");
    network[0] = network[1] = 0;
    while (!rest.empty()) {
        std::string_view line = TakeLine(rest);
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos) {
            continue;
        }
        std::string_view name = line.substr(0, colon);
        line.remove_prefix(colon + 1);
        if (TakeWord(name) == "lo") {
            continue;
        }
        network[0] += TakeNumber<unsigned long long>(line);
        // Skips seven other counters of received packets.
        for (int skipped = 0; skipped < 7; ++skipped) {
            TakeWord(line);
        }
        network[1] += TakeNumber<unsigned long long>(line);
    }
}

void HostSource::Fill(tsn::Sample& sample) {
    // A type from a document does not have the initial sizes of its entries.
    sample.Resize(0, static_cast<unsigned int>(std::size(load)));
    sample.Resize(1, static_cast<unsigned int>(shares.size()));
    sample.Resize(4, static_cast<unsigned int>(std::size(network)));
    unsigned int index = 0;
    for (const double average : load) {
        sample.Set(0, index++, average);
    }
    index = 0;
    for (const double share : shares) {
        sample.Set(1, index++, share);
    }
    sample.Set(2, 0, memoryTotal);
    sample.Set(3, 0, memoryAvailable);
    sample.Set(4, 0, network[0]);
    sample.Set(4, 1, network[1]);
    sample.Set(5, hostname);
}

}  // namespace velmora::tool
