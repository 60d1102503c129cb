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

/// An action of the service on events.
///
/// \threadsafety guarded
class Action {
  public:
    using Clock = std::chrono::steady_clock;

    Action() = default;
    Action(const Action&) = delete;
    Action& operator=(const Action&) = delete;
    virtual ~Action() = default;

    /// Takes an event; does not wait until it has been handled.
    virtual void Take(const std::shared_ptr<const Event>& event) = 0;

    /// Called about once a second; ends work that takes too long.
    virtual void Tick() {}

    /// Ends the action: handles waiting events until a time, then drops the rest. No more events
    /// may be added.
    virtual void Close(Clock::time_point until) = 0;
};

}  // namespace velmora::tool
