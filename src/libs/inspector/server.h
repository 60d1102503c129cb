// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/answer.h"
#include "inspector/connection.h"
#include "inspector/inspector_options.h"
#include "inspector/request.h"
#include "inspector/worker_pool.h"

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/SocketAddress.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace velmora::inspector {

/// Serves all clients. One thread waits for all connections, so that a slow client occupies no
/// thread; workers make the answers.
///
/// \threadsafety guarded: but for construction and destruction
class Server {
  public:
    /// Makes an answer, on any of the workers.
    using Handler = std::function<Answer(const Request&)>;

    /// Listens, and starts the threads.
    /// \param limits must outlive the server
    /// \throws Poco::Net::NetException, std::system_error
    Server(const Poco::Net::SocketAddress& address, const InspectorLimits& limits,
           std::size_t workers, Handler handler);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    /// Ends all connections.
    ~Server();

    std::uint16_t GetPort() const { return port; }

  private:
    using Clock = Connection::Clock;
    /// By number, the oldest first.
    using Connections = std::map<std::uint64_t, Connection>;

    void Run();
    void Wait();
    void Accept();
    bool MakeRoom();
    void OnEvents(Connection& connection, short events);
    void TakeOutcomes();
    void SendEvents();
    void PassOn(std::uint64_t number, Connection& connection);
    void Remove(Connections::iterator place);
    int WaitTime() const;
    void Wake() const;
    void Finish(Outcome outcome);
    Outcome MakeAnswer(const Request& request);
    static Outcome MakePart(const std::shared_ptr<BodySource>& rest, bool isChunked);
    void Release(std::shared_ptr<EventQueue> events);

    const InspectorLimits& limits;
    Handler handler;
    Poco::Net::ServerSocket listener;
    std::uint16_t port;
    int wakeup;  ///< an eventfd
    std::atomic<bool> isStopping = false;

    // Used only by the waiting thread.
    Connections connections;
    std::uint64_t lastNumber = 0;
    Clock::time_point acceptFrom;
    Clock::time_point sendFrom;

    std::mutex mutex;
    std::vector<Outcome> outcomes;  ///< guarded by `mutex`

    std::unique_ptr<WorkerPool> pool;
    std::thread thread;
};

}  // namespace velmora::inspector
