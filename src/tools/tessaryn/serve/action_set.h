// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/action.h"
#include "serve/serve_config.h"
#include "serve/service_log.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmora::tool {

/// The actions of a configuration by name: "log", commands and webhooks.
///
/// \threadsafety external
class ActionSet {
  public:
    /// A set with "log" only.
    /// \param log \ownership observes
    explicit ActionSet(ServiceLog& log);

    /// Replaces the actions by those of a configuration; unchanged ones stay.
    /// \return the removed actions, which the caller has to close
    ActionSet Replace(const RulesConfig& config);

    /// \pre there are actions of these names
    std::vector<std::shared_ptr<Action>> Find(const std::vector<std::string>& names) const;

    /// See `Action::Tick`.
    void Tick();
    /// See `Action::Close`.
    void Close(Action::Clock::time_point until);

  private:
    struct Entry {
        CommandConfig command{};
        WebhookConfig webhook{};
        std::shared_ptr<Action> action{};
    };

    ServiceLog* log;
    std::map<std::string, Entry> entries;
};

}  // namespace velmora::tool
