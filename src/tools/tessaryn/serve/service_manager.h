// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace velmora::tool {

/// What connects a service with systemd, as far as that has started it; elsewhere nothing happens.
///
/// \threadsafety external
class ServiceManager {
  public:
    ServiceManager();
    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;
    /// Closes the descriptors that nobody took.
    ~ServiceManager();

    /// The service is up.
    void TellReady(const std::string& status);
    /// The configuration is being read again; `TellReady` follows.
    void TellReloading();
    void TellStopping(const std::string& status);
    /// Keeps the watchdog quiet, where there is one.
    void TellAlive();
    /// How often `TellAlive` is expected; nothing where no watchdog is.
    std::optional<std::chrono::microseconds> GetWatchdogInterval() const {
        return watchdogInterval;
    }

    /// A descriptor that systemd handed over, by the name that FileDescriptorName= gave it.
    /// \return \ownership gives; -1 when there is none
    int TakeDescriptor(const std::string& name);

  private:
    std::optional<std::chrono::microseconds> watchdogInterval;
    std::multimap<std::string, int> descriptors;
};

}  // namespace velmora::tool
