// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "nats/connection.h"
#include "remote/nats_address.h"
#include "remote/nats_settings.h"
#include "terminal/signal_watcher.h"

#include <functional>
#include <string>

namespace velmora::tool {

/// The program's connection to NATS servers.
class NatsLink {
  public:
    /// \throws CommandError when a file of the settings cannot be used, or the servers refuse the
    /// credentials
    NatsLink(const NatsAddress& address, const NatsSettings& settings);
    NatsLink(const NatsLink&) = delete;
    NatsLink& operator=(const NatsLink&) = delete;

    /// Waits until there is a server.
    /// \param warn called once if no server is reachable
    /// \return false at the end of the run
    /// \throws CommandError when the server has no JetStream
    bool WaitForServer(SignalWatcher& signals, const std::function<void(const std::string&)>& warn);

    /// Calls `warn` if the JetStream stream to read does not exist.
    void CheckJetStream(const std::function<void(const std::string&)>& warn);

    nats::Connection& Get() { return connection; }

  private:
    // While it exists, events of connections are reported.
    struct Presence {
        Presence();
        Presence(const Presence&) = delete;
        Presence& operator=(const Presence&) = delete;
        ~Presence();
    };

    NatsAddress address;
    std::string jetStream;
    nats::Connection connection;
    Presence presence;
};

/// Sets a function that gets the events of connections, except for their end, on any thread.
void LogNatsTo(std::function<void(bool isWarning, const std::string& message)> action);

}  // namespace velmora::tool
