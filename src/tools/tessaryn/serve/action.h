// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace velmora::tool {

/// A sample that a rule has selected.
struct Event {
    std::string rule;
    std::string stream;
    /// The sample's, microseconds since the Unix epoch.
    std::int64_t time = 0;
    /// The line that `tessaryn watch` prints for it, without its end.
    std::string text;
    /// As above, a JSON object.
    std::string json;
    /// Entries and their values as texts.
    std::vector<std::pair<std::string, std::string>> values{};
};

/// What is done with events.
///
/// \threadsafety guarded
class Action {
  public:
    using Clock = std::chrono::steady_clock;

    Action() = default;
    Action(const Action&) = delete;
    Action& operator=(const Action&) = delete;
    virtual ~Action() = default;

    /// Takes an event; does not wait for what is done with it.
    virtual void Take(const std::shared_ptr<const Event>& event) = 0;

    /// Is called about once a second; ends what takes too long.
    virtual void Tick() {}

    /// Ends: what waits is done until a time, and given up then. No event comes any more.
    virtual void Close(Clock::time_point until) = 0;
};

}  // namespace velmora::tool
