// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/dispatcher.h"
#include "serve/action_set.h"
#include "serve/plant.h"
#include "serve/serve_config.h"
#include "serve/service_log.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace velmora::tool {

/// The rules of a service, subscribed to their streams, and the actions that they trigger.
///
/// \threadsafety guarded
class RuleSet {
  public:
    /// A rule and the number of its events.
    struct Count {
        std::string name;
        std::string rule;
        std::uint64_t events = 0;
        std::size_t streams = 0;
    };

    /// \param log \ownership observes
    explicit RuleSet(ServiceLog& log);
    RuleSet(const RuleSet&) = delete;
    RuleSet& operator=(const RuleSet&) = delete;
    ~RuleSet();

    /// Replaces rules and actions; unchanged ones keep their state. Every sample of a stream is
    /// seen either by the old rules or by the new ones, and only once.
    void Replace(const RulesConfig& config);

    /// Subscribes the rules to a new stream.
    void Watch(const PlantStream& stream);

    /// Delivers samples that conditions hold back and that are due.
    void Flush();

    /// Ends the rules: makes their remaining events and closes the actions.
    void Close(Action::Clock::time_point until);

    std::vector<Count> GetCounts() const;
    /// The number of events of the rule of a name.
    std::uint64_t GetEvents(const std::string& name) const;
    delivery::DeliveryStatistics GetStatistics() const { return dispatcher.GetStatistics(); }

    /// Logs which rules watch no stream.
    void WarnOfIdle() const;

  private:
    class ActiveRule;

    struct WatchedStream {
        std::string path;
        core::tessaryn::Stream* stream;
    };

    ServiceLog& log;
    delivery::Dispatcher dispatcher;
    mutable std::mutex mutex;
    // Guarded by the mutex.
    ActionSet actions;
    std::vector<WatchedStream> streams;
    std::vector<std::unique_ptr<ActiveRule>> rules;
};

}  // namespace velmora::tool
