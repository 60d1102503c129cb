// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "process.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace velmora::tool {

/// The socket of a service manager: reads the messages of a service.
class NotifySocket {
  public:
    explicit NotifySocket(const std::string& path)
        : descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        unlink(path.c_str());
        if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            throw std::runtime_error("cannot bind " + path);
        }
        thread = std::thread([this] { Run(); });
    }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;
    ~NotifySocket() {
        shutdown(descriptor, SHUT_RDWR);
        thread.join();
        close(descriptor);
    }

    /// Waits for a message that contains a text; those before it are gone then.
    void WaitFor(const std::string& text) {
        std::unique_lock lock(mutex);
        std::string message;
        while (message.find(text) == std::string::npos) {
            if (!changed.wait_for(lock, std::chrono::minutes(1),
                                  [this] { return !messages.empty(); })) {
                throw std::runtime_error("no message came with " + text);
            }
            message = messages.front();
            messages.pop_front();
        }
    }

  private:
    // Reads all messages as they come: the service waits where too many are unread.
    void Run() {
        std::string message(4096, '\0');
        while (true) {
            const ssize_t size = recv(descriptor, message.data(), message.size(), 0);
            if (size <= 0) {
                return;
            }
            const std::lock_guard lock(mutex);
            messages.push_back(message.substr(0, static_cast<std::size_t>(size)));
            changed.notify_all();
        }
    }

    int descriptor;
    std::mutex mutex;
    std::condition_variable changed;
    // Guarded by the mutex.
    std::deque<std::string> messages;
    std::thread thread;
};

/// `tessaryn serve` with a configuration in a folder, from READY on.
class Served {
  public:
    Served(const Folder& folder, const std::string& config)
        : notify(folder.PathOf("notify")), process(Launch(folder, config)) {
        notify.WaitFor("READY=1");
    }

    Process& Get() { return *process; }
    NotifySocket& GetNotify() { return notify; }
    void Send(int signal) { kill(process->GetId(), signal); }

    /// Reads the log up to the line that contains a text.
    std::string ReadUntil(const std::string& text) {
        std::string line;
        do {
            line = process->ReadErrorLine();
        } while (!line.empty() && line.find(text) == std::string::npos);
        EXPECT_NE(line, "") << "the log ended before: " << text;
        return line;
    }

    /// Ends the service in order.
    Outcome End() {
        Send(SIGTERM);
        return process->Wait();
    }

  private:
    std::unique_ptr<Process> Launch(const Folder& folder, const std::string& config) const {
        const std::string file = folder.Write("plant.toml", config);
        setenv("NOTIFY_SOCKET", folder.PathOf("notify").c_str(), 1);
        setenv("STATE_DIRECTORY", folder.PathOf("").c_str(), 1);
        auto started = std::make_unique<Process>("serve --config " + file);
        unsetenv("NOTIFY_SOCKET");
        unsetenv("STATE_DIRECTORY");
        return started;
    }

    NotifySocket notify;
    std::unique_ptr<Process> process;
};

}  // namespace velmora::tool
