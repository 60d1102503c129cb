// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/inspector.h"

#include "inspector/api.h"
#include "inspector/host_metrics.h"
#include "inspector/server.h"

#include <Poco/Environment.h>
#include <Poco/Net/IPAddress.h>
#include <Poco/Net/SocketAddress.h>

#include <stdexcept>
#include <utility>

namespace velmora::inspector {

class Inspector::Implementation {
  public:
    Implementation(core::tessaryn::StreamRepository& streams,
                   core::tessaryn::StreamTypeRepository& types, InspectorOptions given)
        : options(std::move(given)), api(streams, types, options, host) {
        if (options.workers == 0) {
            throw std::invalid_argument("An inspector needs at least one worker.");
        }
        if (options.title.empty()) {
            options.title = Poco::Environment::nodeName();
        }
    }

    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;
    ~Implementation() { Stop(); }

    void Start() {
        if (server) {
            return;
        }
        api.Start();
        try {
            server = std::make_unique<Server>(
                Poco::Net::SocketAddress(Poco::Net::IPAddress(options.address), options.port),
                options.limits, options.workers,
                [this](const Request& request) { return api.Handle(request); });
        } catch (...) {
            api.Stop();
            throw;
        }
        port = server->GetPort();
    }

    void Stop() {
        server.reset();
        api.Stop();
        port = 0;
    }

    std::uint16_t GetPort() const { return port; }

    std::string GetUrl() const {
        const Poco::Net::IPAddress address(options.address);
        const Poco::Net::SocketAddress shown(
            address.isWildcard() ? Poco::Net::IPAddress("127.0.0.1") : address, port);
        return "http://" + shown.toString() + "/";
    }

    HostMetrics host;

  private:
    InspectorOptions options;
    Api api;
    std::unique_ptr<Server> server;
    std::atomic<std::uint16_t> port = 0;
};

Inspector::Inspector(core::tessaryn::StreamRepository& streams,
                     core::tessaryn::StreamTypeRepository& types, InspectorOptions options)
    : implementation(std::make_unique<Implementation>(streams, types, std::move(options))) {}

Inspector::~Inspector() = default;

void Inspector::Start() {
    implementation->Start();
}

void Inspector::Stop() {
    implementation->Stop();
}

std::uint16_t Inspector::GetPort() const {
    return implementation->GetPort();
}

std::string Inspector::GetUrl() const {
    return implementation->GetUrl();
}

void Inspector::AddDelivery(const std::string& name,
                            std::function<delivery::DeliveryStatistics()> statistics) {
    implementation->host.AddDelivery(name, std::move(statistics));
}

void Inspector::RemoveDelivery(const std::string& name) {
    implementation->host.RemoveDelivery(name);
}

void Inspector::AddRule(const std::string& name, const std::string& rule,
                        std::function<std::uint64_t()> matches) {
    implementation->host.AddRule(name, rule, std::move(matches));
}

void Inspector::RemoveRule(const std::string& name) {
    implementation->host.RemoveRule(name);
}

void Inspector::AddCounter(const std::string& name, const std::string& help,
                           std::function<double()> value) {
    implementation->host.AddValue(name, help, true, std::move(value));
}

void Inspector::AddGauge(const std::string& name, const std::string& help,
                         std::function<double()> value) {
    implementation->host.AddValue(name, help, false, std::move(value));
}

}  // namespace velmora::inspector
