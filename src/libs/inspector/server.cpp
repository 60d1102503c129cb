// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/server.h"

#include "inspector/background.h"
#include "inspector/request_error.h"

#include <Poco/Exception.h>
#include <Poco/Logger.h>
#include <Poco/Net/SocketImpl.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <poll.h>
#include <pthread.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velmora::inspector {

namespace {

using State = Connection::State;

constexpr int backlog = 128;
// How long new clients wait when no connection can be accepted.
constexpr std::chrono::milliseconds acceptPause(100);
// Events are sent in groups, so that one system call sends all that were queued meanwhile.
constexpr std::chrono::milliseconds eventInterval(50);

int MakeWakeup() {
    const int descriptor = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    return descriptor;
}

bool IsIdle(const Connection& connection) {
    return connection.GetState() == State::reading || connection.GetState() == State::closing;
}

}  // namespace

Server::Server(const Poco::Net::SocketAddress& address, const InspectorLimits& limits,
               std::size_t workers, Handler handler)
    : limits(limits), handler(std::move(handler)), port(0), wakeup(MakeWakeup()) {
    try {
        listener.bind(address, true, false);
        listener.listen(backlog);
        listener.setBlocking(false);
        port = listener.address().port();
        pool = std::make_unique<WorkerPool>(workers);
        thread = std::thread([this] { Run(); });
        pthread_setname_np(thread.native_handle(), "inspector");
    } catch (...) {
        ::close(wakeup);
        throw;
    }
}

Server::~Server() {
    isStopping = true;
    Wake();
    thread.join();
    pool.reset();
    ::close(wakeup);
}

void Server::Run() {
    RunInBackground();
    while (!isStopping) {
        try {
            Wait();
        } catch (const std::exception& error) {
            // Usually out of memory: closing the connections frees some.
            Poco::Logger::get("velmora.inspector").error(std::string(error.what()));
            connections.clear();
        }
    }
    connections.clear();
    listener.close();
}

void Server::Wait() {
    std::vector<pollfd> polled;
    polled.push_back({wakeup, POLLIN, 0});
    const bool accepts = Clock::now() >= acceptFrom;
    polled.push_back({listener.impl()->sockfd(), static_cast<short>(accepts ? POLLIN : 0), 0});
    std::vector<Connections::iterator> places;
    for (auto place = connections.begin(); place != connections.end(); ++place) {
        polled.push_back({place->second.GetDescriptor(), place->second.GetEvents(), 0});
        places.push_back(place);
    }
    if (::poll(polled.data(), polled.size(), WaitTime()) < 0 && errno != EINTR) {
        throw std::system_error(errno, std::generic_category(), "poll");
    }
    TakeOutcomes();
    for (std::size_t i = 0; i < places.size(); ++i) {
        OnEvents(places[i]->second, polled[i + 2].revents);
    }
    SendEvents();
    for (const auto& place : places) {
        PassOn(place->first, place->second);
        if (place->second.GetState() == State::closed) {
            Remove(place);
        }
    }
    if (polled[1].revents != 0) {
        Accept();
    }
}

void Server::OnEvents(Connection& connection, short events) {
    if (connection.GetState() == State::closed) {
        return;
    }
    if ((events & (POLLERR | POLLHUP | POLLNVAL)) != 0) {
        connection.Close();
        return;
    }
    if ((events & POLLIN) != 0) {
        connection.OnReadable();
    }
    if ((events & POLLOUT) != 0) {
        connection.OnWritable();
    }
    if (connection.GetState() != State::closed && connection.GetDeadline() <= Clock::now()) {
        connection.OnTime();
    }
}

// In groups: see `eventInterval`.
void Server::SendEvents() {
    if (Clock::now() < sendFrom) {
        return;
    }
    sendFrom = Clock::now() + eventInterval;
    for (auto& [number, connection] : connections) {
        connection.SendEvents();
    }
}

// The time until the next deadline, in milliseconds.
int Server::WaitTime() const {
    auto next = Clock::now() + std::chrono::hours(1);
    if (acceptFrom > Clock::now()) {
        next = acceptFrom;
    }
    for (const auto& [number, connection] : connections) {
        next = std::min(next, connection.GetDeadline());
        if (connection.GetState() == State::watching) {
            next = std::min(next, sendFrom);
        }
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now());
    return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
}

void Server::Accept() {
    if (connections.size() >= limits.maxClients && !MakeRoom()) {
        acceptFrom = Clock::now() + acceptPause;
        return;
    }
    try {
        const Poco::Net::StreamSocket socket = listener.acceptConnection();
        connections.try_emplace(++lastNumber, socket, limits);
    } catch (const Poco::Exception&) {
        // The client has gone, or the process has no descriptor left.
        acceptFrom = Clock::now() + acceptPause;
    }
}

// Closes the connection that has been idle, or has had an incomplete request, for longest.
bool Server::MakeRoom() {
    auto oldest = connections.end();
    for (auto place = connections.begin(); place != connections.end(); ++place) {
        if (IsIdle(place->second) &&
            (oldest == connections.end() || place->second.GetSince() < oldest->second.GetSince())) {
            oldest = place;
        }
    }
    if (oldest == connections.end()) {
        return false;
    }
    Remove(oldest);
    return true;
}

// Passes the next job of a connection, if any, to the workers.
void Server::PassOn(std::uint64_t number, Connection& connection) {
    if (auto request = std::make_shared<Request>(); connection.TakeRequest(*request)) {
        pool->Post([this, number, request] {
            Outcome outcome = MakeAnswer(*request);
            outcome.connection = number;
            Finish(std::move(outcome));
        });
    } else if (std::shared_ptr<BodySource> rest = connection.TakeRest()) {
        pool->Post(
            [this, number, rest, isChunked = connection.IsChunked(), isLast = connection.IsLast()] {
                Outcome outcome = MakePart(rest, isChunked);
                outcome.connection = number;
                outcome.isLast = outcome.isLast || isLast;
                Finish(std::move(outcome));
            });
    }
}

void Server::Remove(Connections::iterator place) {
    Release(place->second.TakeEvents());
    connections.erase(place);
}

// Destroyed by a worker: the destructor waits for handlers, which this thread must not do.
void Server::Release(std::shared_ptr<EventQueue> events) {
    if (events) {
        pool->Post([events = std::move(events)]() mutable { events.reset(); });
    }
}

void Server::TakeOutcomes() {
    std::uint64_t count = 0;
    while (::read(wakeup, &count, sizeof count) > 0) {
    }
    std::vector<Outcome> taken;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        taken.swap(outcomes);
    }
    for (Outcome& outcome : taken) {
        const auto place = connections.find(outcome.connection);
        if (place != connections.end()) {
            place->second.Send(std::move(outcome));
        } else {
            Release(std::move(outcome.events));
        }
    }
}

Outcome Server::MakeAnswer(const Request& request) {
    Answer answer;
    try {
        answer = handler(request);
    } catch (const RequestError& error) {
        answer = MakeError(error.GetStatus(), error.what());
    } catch (const std::exception& error) {
        Poco::Logger::get("velmora.inspector")
            .warning("%s: %s", request.path, std::string(error.what()));
        answer = MakeError(500, "The answer cannot be made.");
    }
    Outcome outcome;
    outcome.isLast = !request.isPersistent || answer.events;
    outcome.bytes = FormatAnswer(answer, !request.IsHead(), outcome.isLast);
    if (!request.IsHead()) {
        outcome.isChunked = answer.rest && !outcome.isLast;
        outcome.rest = std::move(answer.rest);
        outcome.events = std::move(answer.events);
    }
    return outcome;
}

// If making a part fails, the connection is closed, so that the client notices the incomplete
// answer.
Outcome Server::MakePart(const std::shared_ptr<BodySource>& rest, bool isChunked) {
    Outcome outcome;
    outcome.isChunked = isChunked;
    std::string part;
    try {
        if (rest->Append(part)) {
            outcome.rest = rest;
        }
    } catch (const std::exception& error) {
        Poco::Logger::get("velmora.inspector").warning(std::string(error.what()));
        outcome.isLast = true;
        return outcome;
    }
    if (!isChunked) {
        outcome.bytes = std::move(part);
        return outcome;
    }
    if (!part.empty()) {
        outcome.bytes = FormatChunk(part);
    }
    if (!outcome.rest) {
        outcome.bytes += FormatChunk({});
    }
    return outcome;
}

void Server::Wake() const {
    const std::uint64_t one = 1;
    // Fails only when the counter is at its maximum, and then the thread is being woken anyway.
    if (::write(wakeup, &one, sizeof one) < 0) {
        return;
    }
}

void Server::Finish(Outcome outcome) {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        outcomes.push_back(std::move(outcome));
    }
    Wake();
}

}  // namespace velmora::inspector
