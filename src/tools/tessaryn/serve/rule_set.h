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

/// The rules of a service, on all streams that they are for, and the actions that they lead to.
///
/// \threadsafety guarded
class RuleSet {
  public:
    /// A rule and how often it has made an event.
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

    /// Takes new rules and actions in place of those before; those that are as they were go on with
    /// the state that they have. Of each stream, every sample is seen by the old rules or by the
    /// new ones, by none of them twice.
    void Replace(const RulesConfig& config);

    /// Has the rules watch a stream that is new.
    void Watch(const PlantStream& stream);

    /// Delivers what conditions hold back and is due.
    void Flush();

    /// Ends: the rules' events are made, and the actions closed.
    void Close(Action::Clock::time_point until);

    std::vector<Count> GetCounts() const;
    /// How often the rule of a name has made an event.
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
