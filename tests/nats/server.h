// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "support/folder.h"

#include <Poco/File.h>
#include <Poco/Process.h>

#include <csignal>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace velmora::test {

/// A nats-server on loopback with JetStream, whose files are in a temporary folder.
class NatsServer {
  public:
    /// \param arguments additional arguments
    explicit NatsServer(Poco::Process::Args arguments = {}) : arguments(std::move(arguments)) {
        Start();
    }
    NatsServer(const NatsServer&) = delete;
    NatsServer& operator=(const NatsServer&) = delete;
    ~NatsServer() { Kill(); }

    std::string GetUrl() const { return "nats://127.0.0.1:" + port; }

    void Start() {
        const std::string ports = folder.PathOf("ports");
        Poco::File(ports).createDirectories();
        Poco::Process::Args all = {"-a",
                                   "127.0.0.1",
                                   "-p",
                                   port,
                                   "-js",
                                   "-sd",
                                   folder.PathOf("store"),
                                   "--ports_file_dir",
                                   ports,
                                   "-l",
                                   folder.PathOf("log")};
        all.insert(all.end(), arguments.begin(), arguments.end());
        process.emplace(Poco::Process::launch("nats-server", all));
        const std::string file = ports + "/nats-server_" + std::to_string(process->id()) + ".ports";
        const std::string prefix = "://127.0.0.1:";
        std::string text;
        std::size_t begin = 0;
        std::size_t end = 0;
        // The file appears when the server listens; if it does not, the test times out.
        while ((begin = text.find(prefix)) == std::string::npos ||
               (end = text.find('"', begin)) == std::string::npos) {
            if (!Poco::Process::isRunning(*process)) {
                throw std::runtime_error("nats-server has ended");
            }
            std::this_thread::yield();
            std::ifstream in(file);
            text.assign(std::istreambuf_iterator<char>(in), {});
        }
        begin += prefix.size();
        port = text.substr(begin, end - begin);
    }

    /// Kills it, like a crash.
    void Kill() {
        if (process) {
            ::kill(process->id(), SIGKILL);
            process->wait();
            process.reset();
        }
    }

  private:
    Poco::Process::Args arguments;
    Folder folder;
    std::string port = "-1";
    std::optional<Poco::ProcessHandle> process;
};

}  // namespace velmora::test
