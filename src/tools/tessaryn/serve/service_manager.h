// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace velmora::tool {

/// The connection of a service to systemd. Without systemd the functions do nothing.
///
/// \threadsafety external
class ServiceManager {
  public:
    ServiceManager();
    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;
    /// Closes the descriptors that were not taken.
    ~ServiceManager();

    /// Reports that the service has started.
    void TellReady(const std::string& status);
    /// Reports that the configuration is being reloaded; `TellReady` must follow.
    void TellReloading();
    void TellStopping(const std::string& status);
    /// Triggers the watchdog, if it is enabled.
    void TellAlive();
    /// How often `TellAlive` must be called; nothing if there is no watchdog.
    std::optional<std::chrono::microseconds> GetWatchdogInterval() const {
        return watchdogInterval;
    }

    /// A descriptor passed by systemd, by the name that FileDescriptorName= gave it.
    /// \return \ownership gives; -1 when there is none
    int TakeDescriptor(const std::string& name);

  private:
    std::optional<std::chrono::microseconds> watchdogInterval;
    std::multimap<std::string, int> descriptors;
};

}  // namespace velmora::tool
