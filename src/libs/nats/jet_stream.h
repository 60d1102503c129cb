// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/frame.h"
#include "nats/nats_objects.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora::nats {

/// The JetStream requests of publishers and followers.
///
/// \threadsafety guarded
class JetStream {
  public:
    /// \param name of the JetStream stream
    /// \throws NatsException
    JetStream(natsConnection* connection, const std::string& name);

    /// Creates the JetStream stream, or adds the subjects that it lacks.
    /// \throws NatsException
    void Ensure(const std::vector<std::string>& subjects, int replicas) const;

    /// The newest message of a subject; null if there is none, or no such JetStream stream.
    /// \throws NatsException when the server does not answer
    Message GetLast(const std::string& subject) const;

    struct State {
        std::int64_t created = 0;  ///< nanoseconds since the Unix epoch; 0 for no JetStream stream
        std::uint64_t last = 0;    ///< the number of the newest message; 0 if there is none
    };

    /// The current state of the JetStream stream of the name.
    /// \throws NatsException when the server does not answer
    State GetState() const;

    jsCtx* GetContext() const { return context.get(); }
    const std::string& GetName() const { return name; }

  private:
    std::string name;
    Context context;
};

/// The frame in a message; nothing if the message is not a valid frame.
std::optional<exchange::Frame> FrameOf(natsMsg* message, std::size_t maxPayload);

}  // namespace velmora::nats
