// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/feed_thread.h"
#include "serve/page.h"
#include "serve/plant.h"
#include "serve/rule_set.h"
#include "serve/serve_config.h"
#include "serve/service_log.h"
#include "serve/service_manager.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// One run of `tessaryn serve`, from its configuration to a signal that ends it.
///
/// At the end it stops, in this order: page, sources, rules with their actions, history,
/// checkpoint.
class Service {
  public:
    /// \param file of the configuration
    Service(std::string file, ServeConfig config);
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    ~Service();

    /// Runs until SIGTERM or SIGINT; SIGHUP reloads the rules.
    /// \throws CommandError, storage::StorageException when the service cannot start
    void Run();

  private:
    using Clock = std::chrono::steady_clock;

    void Start();
    void Wait();
    void Tick();
    void Reload();
    void Stop();
    std::string Describe() const;

    std::string file;
    ServeConfig config;
    ServiceLog log;
    ServiceManager manager;
    int signalDescriptor = -1;
    /// A descriptor that is readable as soon as the feeds have to end.
    int endDescriptor = -1;
    Plant plant;
    RuleSet rules;
    std::vector<std::unique_ptr<FeedThread>> feeds;
    Page page;
    /// The time of the next checkpoint, if there is one.
    std::optional<Clock::time_point> nextSave;
    /// When to warn about rules without a stream.
    std::optional<Clock::time_point> idleWarning;
};

}  // namespace velmora::tool
