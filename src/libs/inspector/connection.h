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

/// What a worker made for a connection.
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

/// One client: reads requests and sends answers, as far as that goes without waiting.
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
        closing,   ///< has sent its last, and waits for the client to see it
        closed
    };

    Connection(const Poco::Net::StreamSocket& socket, const InspectorLimits& limits);

    State GetState() const { return state; }
    int GetDescriptor() const;
    /// What `poll` is to wait for.
    short GetEvents() const;
    /// When `OnTime` is to be called.
    Clock::time_point GetDeadline() const { return deadline; }
    /// When it last did something that counts against idle clients.
    Clock::time_point GetSince() const { return since; }

    /// Reads what has come.
    void OnReadable();
    /// Sends what the client takes.
    void OnWritable();
    /// The deadline has passed.
    void OnTime();
    /// Puts events of the queue on their way.
    void SendEvents();
    void Close();

    /// The next request that has come in full, if any; a worker is then to answer it.
    bool TakeRequest(Request& request);
    /// The rest of an answer whose next part is wanted, if any; a worker is to make it.
    std::shared_ptr<BodySource> TakeRest();
    bool IsChunked() const { return isChunked; }
    bool IsLast() const { return isLast; }
    /// Sends what a worker has made.
    void Send(Outcome outcome);
    /// Refuses what comes, and ends.
    void Refuse(int status, const std::string& reason);
    /// Hands over what the connection no longer needs: its end may have to wait.
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
    std::size_t sinceExtended = 0;  ///< bytes taken since the deadline was set
    std::shared_ptr<BodySource> rest;
    bool isChunked = false;
    std::shared_ptr<EventQueue> events;
    bool isLast = false;
    std::size_t discarded = 0;
    Clock::time_point deadline;
    Clock::time_point since;
};

}  // namespace velmora::inspector
