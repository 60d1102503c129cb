// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "nats/server.h"

#include <Poco/Net/ServerSocket.h>

#include <memory>
#include <string>
#include <vector>

namespace velmora::test {

/// Servers named n0, n1, ... on loopback, which form a cluster when there are several.
class NatsCluster {
  public:
    explicit NatsCluster(std::size_t size) {
        if (size == 1) {
            servers.push_back(std::make_unique<NatsServer>());
            return;
        }
        std::string routes;
        std::vector<std::string> addresses;
        // Free ports; all are kept bound until the last one is found, so that they differ.
        std::vector<Poco::Net::ServerSocket> sockets;
        for (std::size_t i = 0; i < size; ++i) {
            sockets.emplace_back(Poco::Net::SocketAddress("127.0.0.1", 0));
            addresses.push_back("nats://" + sockets.back().address().toString());
            routes += (i == 0 ? "" : ",") + addresses.back();
        }
        sockets.clear();
        for (std::size_t i = 0; i < size; ++i) {
            servers.push_back(std::make_unique<NatsServer>(
                Poco::Process::Args{"-n", "n" + std::to_string(i), "--cluster_name", "test",
                                    "--cluster", addresses[i], "--routes", routes}));
        }
    }

    std::size_t GetSize() const { return servers.size(); }
    NatsServer& operator[](std::size_t index) { return *servers[index]; }

    /// The URLs of all servers.
    std::string GetUrls() const {
        std::string urls;
        for (const auto& server : servers) {
            urls += (urls.empty() ? "" : ",") + server->GetUrl();
        }
        return urls;
    }

  private:
    std::vector<std::unique_ptr<NatsServer>> servers;
};

}  // namespace velmora::test
