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
    /// \param warn is told, once, when there is none
    /// \return false at the end of the run
    /// \throws CommandError when the server has no JetStream
    bool WaitForServer(SignalWatcher& signals, const std::function<void(const std::string&)>& warn);

    /// Tells when the JetStream stream that is to be read is not there.
    void CheckJetStream(const std::function<void(const std::string&)>& warn);

    nats::Connection& Get() { return connection; }

  private:
    // While there is one, what happens to connections is told.
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

/// Sets what is told what happens to connections, but for their end, on any thread.
void LogNatsTo(std::function<void(bool isWarning, const std::string& message)> action);

}  // namespace velmora::tool
