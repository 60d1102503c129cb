// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/replay_feed.h"

#include "serve/row_pump.h"

#include <Poco/Timestamp.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <optional>
#include <utility>

namespace velmora::tool {

namespace {

using Clock = SignalWatcher::Clock;

// One source of a recording, with its next row.
struct Recording {
    Recording(NamedSource opened, const FeedContext& context)
        : named(std::move(opened)), pump(context, named.stream, false) {}

    NamedSource named;
    RowPump pump;
    bool hasRow = false;

    void Next(const SignalWatcher& signals) {
        hasRow = !signals.IsStopped() && named.source->Next();
    }
};

// The source with the earliest row; null if none has a row.
Recording* FindFirst(std::deque<Recording>& recordings) {
    Recording* first = nullptr;
    for (Recording& each : recordings) {
        const bool isEarlier =
            each.hasRow &&
            (first == nullptr || each.named.source->GetTime() < first->named.source->GetTime());
        first = isEarlier ? &each : first;
    }
    return first;
}

}  // namespace

void ReplayFeed::Run() {
    SignalWatcher signals(context.endDescriptor);
    std::int64_t begin = Poco::Timestamp().epochMicroseconds();
    Clock::time_point start = Clock::now();
    do {
        const std::int64_t length = RunOnce(signals, begin, start);
        begin += length;
        start += std::chrono::microseconds(length);
    } while (context.config.loop && !signals.IsStopped());
}

std::int64_t ReplayFeed::RunOnce(SignalWatcher& signals, std::int64_t begin,
                                 Clock::time_point start) {
    const SourceConfig& config = context.config;
    std::deque<Recording> recordings;
    for (NamedSource& named :
         OpenSources(config.from, {config.from}, MakeSourceSettings(context), signals)) {
        Recording& added = recordings.emplace_back(std::move(named), context);
        if (added.pump.Open(*added.named.source)) {
            added.Next(signals);
        }
    }
    std::optional<std::int64_t> first;
    // In a loop, the first sample follows the last one after the time between the first two.
    std::int64_t gap = std::chrono::microseconds(std::chrono::seconds(1)).count();
    std::int64_t passed = 0;
    while (Recording* const next = FindFirst(recordings)) {
        const std::int64_t time = next->named.source->GetTime();
        first = first.value_or(time);
        // Longer than any run, but still within the range of the clock.
        constexpr double maxWait = 1e15;
        const double wait = static_cast<double>(time - *first) / config.speed;
        const std::int64_t due = std::llround(std::min(wait, maxWait));
        gap = due > passed ? due - passed : gap;
        passed = due;
        const Clock::time_point dueTime = start + std::chrono::microseconds(due);
        if (signals.WaitReadable(-1, dueTime) == SignalWatcher::Event::stopped) {
            break;
        }
        next->pump.Push(config.keepTimes ? time : begin + due);
        next->Next(signals);
    }
    return passed + gap;
}

}  // namespace velmora::tool
