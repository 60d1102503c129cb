// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/action_queue.h"
#include "serve/serve_config.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace velmora::tool {

/// Runs a program for each event, without a shell.
///
/// The program gets the service's environment, with TESSARYN_RULE, TESSARYN_STREAM, TESSARYN_TIME,
/// TESSARYN_EVENT (JSON), and TESSARYN_VALUE_name for each entry; and the JSON as one line on
/// standard input. Its output goes to the log.
class CommandAction : public Action {
  public:
    CommandAction(const CommandConfig& config, ServiceLog& log);
    void Take(const std::shared_ptr<const Event>& event) override { queue.Push(event); }
    void Close(Clock::time_point until) override { queue.Close(until); }

  private:
    void Run(const Event& event);
    pid_t Start(const Event& event) const;
    void WaitFor(pid_t child) const;

    CommandConfig config;
    // The last member, since its threads use the others.
    ActionQueue queue;
};

}  // namespace velmora::tool
