// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/service_manager.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <systemd/sd-daemon.h>
#include <unistd.h>

namespace velmora::tool {

namespace {

// Does nothing without systemd. Errors are ignored: sending again would not help.
void Notify(const std::string& state) {
    static_cast<void>(sd_notify(0, state.c_str()));
}

// A status is one line.
std::string StatusLine(std::string status) {
    for (char& c : status) {
        c = c == '\n' ? ' ' : c;
    }
    return "STATUS=" + status;
}

}  // namespace

ServiceManager::ServiceManager() {
    std::uint64_t interval = 0;
    if (sd_watchdog_enabled(0, &interval) > 0) {
        watchdogInterval = std::chrono::microseconds(interval);
    }
    char** names = nullptr;
    const int count = sd_listen_fds_with_names(1, &names);
    for (int i = 0; i < count; ++i) {
        descriptors.emplace(names[i], SD_LISTEN_FDS_START + i);
        std::free(names[i]);
    }
    std::free(names);
}

ServiceManager::~ServiceManager() {
    for (const auto& [name, descriptor] : descriptors) {
        close(descriptor);
    }
}

void ServiceManager::TellReady(const std::string& status) {
    Notify("READY=1\n" + StatusLine(status));
}

void ServiceManager::TellReloading() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::uint64_t time = static_cast<std::uint64_t>(now.tv_sec) * 1'000'000 +
                               static_cast<std::uint64_t>(now.tv_nsec) / 1000;
    Notify("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(time));
}

void ServiceManager::TellStopping(const std::string& status) {
    Notify("STOPPING=1\n" + StatusLine(status));
}

void ServiceManager::TellAlive() {
    if (watchdogInterval) {
        Notify("WATCHDOG=1");
    }
}

int ServiceManager::TakeDescriptor(const std::string& name) {
    const auto place = descriptors.find(name);
    if (place == descriptors.end()) {
        return -1;
    }
    const int descriptor = place->second;
    descriptors.erase(place);
    return descriptor;
}

}  // namespace velmora::tool
