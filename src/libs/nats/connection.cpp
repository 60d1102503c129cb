// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/connection.h"

#include "nats/nats_objects.h"

#include <Poco/Logger.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <iterator>
#include <mutex>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

namespace velmora::nats {

namespace {

Poco::Logger& Log() {
    return Poco::Logger::get("velmora.nats");
}

void OnDisconnected(natsConnection* /*connection*/, void* /*closure*/) {
    Log().warning("The connection to the NATS server is lost.");
}

void OnReconnected(natsConnection* /*connection*/, void* /*closure*/) {
    Log().information("There is a connection to a NATS server again.");
}

void OnConnected(natsConnection* /*connection*/, void* /*closure*/) {
    Log().information("There is a connection to a NATS server.");
}

// Errors of subscriptions, such as a deleted consumer; followers detect these themselves.
void OnError(natsConnection* /*connection*/, natsSubscription* /*subscription*/, natsStatus status,
             void* /*closure*/) {
    Log().debug(std::string("NATS: ") + natsStatus_GetText(status));
}

// Counts the connections that the client library has closed. The call that reports it is the last
// one for a connection.
class Closings {
  public:
    static void OnClosed(natsConnection* /*connection*/, void* closings) {
        static_cast<Closings*>(closings)->Add();
    }

    void WaitFor(int number) {
        std::unique_lock lock(mutex);
        added.wait(lock, [&] { return count >= number; });
    }

  private:
    void Add() {
        // Notifies while holding the lock, since the waiting thread may destroy this object right
        // afterwards.
        const std::lock_guard lock(mutex);
        ++count;
        added.notify_all();
    }

    std::mutex mutex;
    std::condition_variable added;
    int count = 0;
};

std::vector<std::string> SplitUrls(const std::string& urls) {
    std::vector<std::string> result;
    std::istringstream in(urls);
    for (std::string url; std::getline(in, url, ',');) {
        result.push_back(url);
    }
    return result;
}

}  // namespace

class Connection::State {
  public:
    State(const std::string& urls, const std::function<void(natsOptions*)>& configure) {
        natsOptions* made = nullptr;
        Check(natsOptions_Create(&made), "make options for NATS");
        const Options options(made);
        const std::vector<std::string> list = SplitUrls(urls);
        std::vector<const char*> pointers;
        pointers.reserve(list.size());
        for (const std::string& url : list) {
            pointers.push_back(url.c_str());
        }
        Check(natsOptions_SetServers(made, pointers.data(), static_cast<int>(pointers.size())),
              "use the addresses of the NATS servers");
        constexpr int forever = -1;
        constexpr int reconnectWait = 250;
        constexpr int reconnectBuffer = 0;
        natsOptions_SetMaxReconnect(made, forever);
        natsOptions_SetReconnectWait(made, reconnectWait);
        // Unacknowledged messages are sent again in order; the client's buffer would let new ones
        // overtake them.
        natsOptions_SetReconnectBufSize(made, reconnectBuffer);
        natsOptions_SetRetryOnFailedConnect(made, true, OnConnected, nullptr);
        natsOptions_SetDisconnectedCB(made, OnDisconnected, nullptr);
        natsOptions_SetReconnectedCB(made, OnReconnected, nullptr);
        natsOptions_SetErrorHandler(made, OnError, nullptr);
        natsOptions_SetFailRequestsOnDisconnect(made, true);
        if (configure) {
            configure(made);
        }
        natsOptions_SetClosedCB(made, Closings::OnClosed, &closings);
        Connect(made);
    }

    State(const State&) = delete;
    State& operator=(const State&) = delete;
    // Waits until the client library's thread has finished with the connection: if it logged while
    // the process ends, the logger might be destroyed already.
    ~State() {
        natsConnection_Destroy(connection);
        closings.WaitFor(numMade);
    }

    // The reading thread finds a subscription under a lock, but uses it without. It has finished
    // with those that were unsubscribed before once it has read the answer to a new request.
    void Destroy(Subscription subscription) {
        natsSubscription_Unsubscribe(subscription.get());
        std::vector<Subscription> earlier;
        {
            const std::lock_guard lock(mutex);
            ended.push_back(std::move(subscription));
            earlier.swap(ended);
        }
        constexpr int timeout = 100;
        if (natsConnection_FlushTimeout(connection, timeout) != NATS_OK) {
            const std::lock_guard lock(mutex);
            std::move(earlier.begin(), earlier.end(), std::back_inserter(ended));
        }
    }

    natsConnection* connection = nullptr;

  private:
    // If the server ends the first connection before it is complete, since it was killed or refuses
    // the credentials, the client library closes the connection for good.
    void Connect(natsOptions* options) {
        constexpr int maxAttempts = 10;
        constexpr std::chrono::milliseconds pause(100);
        for (int attempt = 1;; ++attempt) {
            const natsStatus status = natsConnection_Connect(&connection, options);
            numMade += connection != nullptr ? 1 : 0;
            if (status != NATS_NOT_YET_CONNECTED) {
                Check(status, "connect to a NATS server");
                return;
            }
            if (StaysOpen()) {
                return;
            }
            natsConnection_Destroy(std::exchange(connection, nullptr));
            if (attempt == maxAttempts) {
                closings.WaitFor(numMade);
                throw NatsException(
                    "cannot connect to a NATS server: it ends connections before they are "
                    "complete, or refuses the credentials");
            }
            std::this_thread::sleep_for(pause);
        }
    }

    // The library's thread closes the connection at once or not at all.
    bool StaysOpen() const {
        constexpr int maxChecks = 20;
        constexpr std::chrono::milliseconds pause(10);
        for (int i = 0; i < maxChecks; ++i) {
            if (natsConnection_Status(connection) == NATS_CONN_STATUS_CLOSED) {
                return false;
            }
            std::this_thread::sleep_for(pause);
        }
        return true;
    }

    Closings closings;
    int numMade = 0;
    std::mutex mutex;
    // Unsubscribed, and perhaps in use by the reading thread.
    std::vector<Subscription> ended;
};

Connection::Connection(const std::string& urls, const std::function<void(natsOptions*)>& configure)
    : state(std::make_unique<State>(urls, configure)) {}

Connection::~Connection() = default;

bool Connection::IsConnected() const {
    return natsConnection_Status(state->connection) == NATS_CONN_STATUS_CONNECTED;
}

unsigned long long Connection::GetNumReconnects() const {
    natsStatistics* made = nullptr;
    Check(natsStatistics_Create(&made), "count reconnections");
    const std::unique_ptr<natsStatistics, Destroyer<natsStatistics_Destroy>> counts(made);
    std::uint64_t reconnects = 0;
    natsConnection_GetStats(state->connection, made);
    natsStatistics_GetCounts(made, nullptr, nullptr, nullptr, nullptr, &reconnects);
    return reconnects;
}

natsConnection* Connection::Get() const {
    return state->connection;
}

void Connection::Destroy(natsSubscription* subscription) const {
    if (subscription != nullptr) {
        state->Destroy(Subscription(subscription));
    }
}

}  // namespace velmora::nats
