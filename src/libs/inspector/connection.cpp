// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/connection.h"

#include "inspector/request_error.h"

#include <Poco/Exception.h>
#include <Poco/Net/SocketImpl.h>

#include <algorithm>
#include <array>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace velmora::inspector {

namespace {

// Bytes that a client must accept within `InspectorLimits::sendTime`, if that many are left.
constexpr std::size_t sendStep = 65'536;
// After a refusal, up to this many bytes are read and discarded, so that the client can read the
// answer before the connection closes.
constexpr std::size_t maxDiscarded = 1'000'000;
constexpr std::chrono::milliseconds lingerTime(500);
constexpr std::string_view comment = ":\n\n";

}  // namespace

Connection::Connection(const Poco::Net::StreamSocket& socket, const InspectorLimits& limits)
    : socket(socket), limits(limits), reader(limits) {
    this->socket.setBlocking(false);
    this->socket.setNoDelay(true);
    this->socket.setKeepAlive(true);
    BeginReading();
    // A client is expected to send a request as soon as it has connected.
    Extend(limits.requestTime);
}

int Connection::GetDescriptor() const {
    return socket.impl()->sockfd();
}

short Connection::GetEvents() const {
    switch (state) {
        case State::reading:
        case State::closing:
            return POLLIN;
        case State::sending:
            return POLLOUT;
        case State::watching:
            return static_cast<short>(sent < out.size() ? POLLIN | POLLOUT : POLLIN);
        case State::working:
        case State::closed:
            break;
    }
    return 0;
}

void Connection::OnReadable() {
    std::array<char, 16384> bytes{};
    if (state == State::reading) {
        const bool wasEmpty = reader.IsEmpty();
        const std::size_t count = Receive(bytes.data(), bytes.size());
        if (count > 0) {
            reader.Append({bytes.data(), count});
            if (wasEmpty) {
                Extend(limits.requestTime);
            }
            Parse();
        }
    } else if (state == State::watching || state == State::closing) {
        // The client should send nothing more.
        discarded += Receive(bytes.data(), bytes.size());
        if (discarded > maxDiscarded) {
            Close();
        }
    }
}

void Connection::OnWritable() {
    if (state == State::sending || state == State::watching) {
        Flush();
    }
}

void Connection::OnTime() {
    if (state == State::reading && !reader.IsEmpty()) {
        Refuse(408, "The request did not come in time.");
    } else if (state == State::watching && sent == out.size()) {
        out = comment;
        sent = 0;
        Flush();
    } else {
        Close();
    }
}

void Connection::SendEvents() {
    if (state == State::watching && sent == out.size()) {
        std::string taken = events->Take();
        if (!taken.empty()) {
            out = std::move(taken);
            sent = 0;
            Extend(limits.sendTime);
            Flush();
        }
    }
}

void Connection::Close() {
    state = State::closed;
    socket.close();
}

bool Connection::TakeRequest(Request& taken) {
    if (!std::exchange(hasRequest, false) || state != State::working) {
        return false;
    }
    taken = std::move(request);
    taken.localAddress = socket.address().host().toString();
    return true;
}

std::shared_ptr<BodySource> Connection::TakeRest() {
    return state == State::working ? std::move(rest) : nullptr;
}

void Connection::Send(Outcome outcome) {
    out = std::move(outcome.bytes);
    sent = 0;
    sinceExtended = 0;
    rest = std::move(outcome.rest);
    isChunked = outcome.isChunked;
    events = std::move(outcome.events);
    isLast = outcome.isLast;
    state = State::sending;
    Extend(limits.sendTime);
    Flush();
}

void Connection::Refuse(int status, const std::string& reason) {
    Outcome outcome;
    outcome.bytes = FormatAnswer(MakeError(status, reason), true, true);
    outcome.isLast = true;
    Send(std::move(outcome));
}

std::size_t Connection::Receive(char* bytes, std::size_t size) {
    try {
        const int count = socket.receiveBytes(bytes, static_cast<int>(size));
        if (count > 0) {
            return static_cast<std::size_t>(count);
        }
        if (count == 0) {
            Close();
        }
    } catch (const Poco::Exception&) {
        Close();
    }
    return 0;
}

void Connection::Parse() {
    try {
        if (reader.Read(request)) {
            hasRequest = true;
            state = State::working;
            deadline = Clock::time_point::max();
        }
    } catch (const RequestError& error) {
        Refuse(error.GetStatus(), error.what());
    }
}

void Connection::Flush() {
    try {
        while (sent < out.size()) {
            const std::size_t size = std::min(out.size() - sent, sendStep);
            const int count =
                socket.sendBytes(out.data() + sent, static_cast<int>(size), MSG_NOSIGNAL);
            if (count <= 0) {
                return;
            }
            sent += static_cast<std::size_t>(count);
            sinceExtended += static_cast<std::size_t>(count);
            if (sinceExtended >= sendStep) {
                sinceExtended = 0;
                Extend(limits.sendTime);
            }
        }
    } catch (const Poco::Exception&) {
        Close();
        return;
    }
    OnSent();
}

void Connection::OnSent() {
    out.clear();
    sent = 0;
    if (events) {
        state = State::watching;
        Extend(limits.heartbeat);
    } else if (rest) {
        state = State::working;
        deadline = Clock::time_point::max();
    } else if (isLast) {
        BeginClosing();
    } else {
        BeginReading();
        Parse();
    }
}

void Connection::BeginReading() {
    state = State::reading;
    since = Clock::now();
    Extend(reader.IsEmpty() ? limits.idleTime : limits.requestTime);
}

// Closing a socket with unread input resets the connection, and the client could lose the answer.
void Connection::BeginClosing() {
    state = State::closing;
    since = Clock::now();
    Extend(lingerTime);
    try {
        socket.shutdownSend();
    } catch (const Poco::Exception&) {
        Close();
    }
}

}  // namespace velmora::inspector
