// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/answer.h"
#include "inspector/event_queue.h"
#include "inspector/inspector_options.h"
#include "inspector/request.h"
#include "inspector/request_reader.h"

#include <Poco/Net/StreamSocket.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace velmora::inspector {

/// What a worker has made for a connection.
///
/// \threadsafety external
struct Outcome {
    std::uint64_t connection = 0;
    std::string bytes;
    std::shared_ptr<BodySource> rest = {};
    bool isChunked = false;
    std::shared_ptr<EventQueue> events = {};
    bool isLast = false;
};

/// The connection to one client: reads requests and sends answers without blocking.
///
/// \threadsafety external
class Connection {
  public:
    using Clock = std::chrono::steady_clock;
    enum class State : unsigned char {
        reading,   ///< waits for a request
        working,   ///< a worker makes the answer, or its next part
        sending,   ///< waits for the client to take it
        watching,  ///< sends events
        closing,   ///< has sent the last answer and waits for the client to close
        closed
    };

    Connection(const Poco::Net::StreamSocket& socket, const InspectorLimits& limits);

    State GetState() const { return state; }
    int GetDescriptor() const;
    /// What `poll` is to wait for.
    short GetEvents() const;
    /// When `OnTime` is to be called.
    Clock::time_point GetDeadline() const { return deadline; }
    /// When it began to wait for a request, or for the client to close. When connections run out,
    /// the one that has waited longest is closed.
    Clock::time_point GetSince() const { return since; }

    /// Reads what has arrived.
    void OnReadable();
    /// Sends as much as the client accepts.
    void OnWritable();
    /// The deadline has passed.
    void OnTime();
    /// Puts events of the queue on their way.
    void SendEvents();
    void Close();

    /// The next complete request, if any, for a worker to answer.
    bool TakeRequest(Request& request);
    /// The source of an answer's next part, if one is due, for a worker to make.
    std::shared_ptr<BodySource> TakeRest();
    bool IsChunked() const { return isChunked; }
    bool IsLast() const { return isLast; }
    /// Sends what a worker has made.
    void Send(Outcome outcome);
    /// Answers with an error and closes the connection.
    void Refuse(int status, const std::string& reason);
    /// Hands over the event queue, whose destructor may have to wait.
    std::shared_ptr<EventQueue> TakeEvents() { return std::move(events); }

  private:
    std::size_t Receive(char* bytes, std::size_t size);
    void Parse();
    void Flush();
    void OnSent();
    void BeginReading();
    void BeginClosing();
    void Extend(std::chrono::milliseconds time) { deadline = Clock::now() + time; }

    Poco::Net::StreamSocket socket;
    const InspectorLimits& limits;
    State state = State::reading;
    RequestReader reader;
    Request request;
    bool hasRequest = false;
    std::string out;
    std::size_t sent = 0;           ///< of `out`
    std::size_t sinceExtended = 0;  ///< bytes sent since the deadline was set
    std::shared_ptr<BodySource> rest;
    bool isChunked = false;
    std::shared_ptr<EventQueue> events;
    bool isLast = false;
    std::size_t discarded = 0;
    Clock::time_point deadline;
    Clock::time_point since;
};

}  // namespace velmora::inspector
