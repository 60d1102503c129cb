// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/options.h"
#include "delivery/rule.h"
#include "nats/export.h"

#include <Poco/Timestamp.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace velmora::core::tessaryn {
class StreamRepository;
}

namespace velmora::nats {

class Connection;

/// How samples are published.
///
/// \threadsafety external
struct PublisherOptions {
    /// The JetStream stream that keeps the samples. It is made, kept in files, when there is none
    /// of that name, also when it is deleted later; else the subjects that it lacks are added.
    std::string jetStream = "velmora";
    /// Copies that a cluster keeps of a JetStream stream made here.
    int replicas = 1;
    /// Which changes are published, beside being pushes of this process.
    std::string rule = "pushed()";
    /// Each stream's queue between its pushers and the connection.
    std::size_t capacity = 10000;
    delivery::Overflow overflow = delivery::Overflow::dropOldest;
    /// Of `Overflow::wait`: how long a push may wait.
    std::chrono::microseconds maxWait = std::chrono::milliseconds(100);
    /// Messages that are sent and not acknowledged yet, at most.
    std::size_t maxInFlight = 4096;
    /// A message that is not acknowledged in this time is sent again.
    std::chrono::milliseconds acknowledgeWithin = std::chrono::seconds(5);
    /// How often streams that have come are looked for.
    std::chrono::milliseconds rescanInterval = std::chrono::seconds(1);
    /// Publishes also what a follower of this process has pushed. Beware of loops.
    bool relaysFollowed = false;
};

/// Counts of a publisher.
///
/// \threadsafety external
struct PublisherStatistics {
    delivery::DeliveryStatistics queues;  ///< between pushers and connection, summed
    std::uint64_t acknowledged = 0;       ///< messages that the server keeps
    std::uint64_t duplicates = 0;         ///< of these, acknowledged as known already
    std::uint64_t repeated = 0;           ///< times a message was sent again
    std::uint64_t refused = 0;            ///< times the server refused a message, or nobody took it
    std::uint64_t inFlight = 0;           ///< messages sent and not acknowledged
};

/// Where a source goes on, see `Publisher::Resume`.
///
/// \threadsafety external
struct ResumePoint {
    /// Samples of the path that were published before and are known to have arrived, all of them.
    std::uint64_t sequence = 0;
    /// The time of the last of them; 0 if there is none.
    Poco::Timestamp time = 0;
    /// The newest sample that the server has, which may have arrived before others; 0 if there is
    /// none. A source without it at this number, with this time, is another one.
    std::uint64_t newest = 0;
    Poco::Timestamp newestTime = 0;
};

/// Publishes the changes of streams to a JetStream stream of a NATS server, as frames of
/// `velmora::exchange`, a subject for each stream (see `ToSubject`).
///
/// A push never waits for the server: it leaves its sample in a bounded queue. What leaves the
/// queue is numbered stream by stream, sent, and sent again until the server has acknowledged it,
/// also when the connection or the server is lost meanwhile. The server drops what it has already;
/// a follower puts into order what arrived out of order.
///
/// A publisher numbers the samples of a path anew, from 1, unless `Resume` was called for the path:
/// then a source that can push its samples again loses and repeats none, though the process was
/// killed.
///
/// Descriptions of types are kept beside the samples, at `ToTypeSubject`.
///
/// Connection and repository must outlive the publisher.
///
/// \threadsafety guarded
class NATS_BRIDGE_API Publisher {
  public:
    /// \param patterns of the paths of streams, see `delivery::StreamPattern`; streams that come
    ///     later are found. No JetStream stream may take all subjects: where a pattern begins with
    ///     a wildcard, it gets those below the first name of each path that comes
    /// \throws std::invalid_argument for a malformed pattern, Poco::SyntaxException for a malformed
    /// rule
    Publisher(Connection& connection, core::tessaryn::StreamRepository& repository,
              const std::vector<std::string>& patterns, const PublisherOptions& options = {});
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;
    /// Drops what is queued or not acknowledged; `Flush` before keeps it.
    ~Publisher();

    /// Waits until all that was pushed before is acknowledged.
    /// \return whether that happened in time
    bool Flush(std::chrono::milliseconds timeout);

    /// Looks for streams that have come, without waiting for `PublisherOptions::rescanInterval`:
    /// what is pushed to them from now on is published.
    void Rescan();

    /// Goes on where an earlier publisher of the path ended, in this process or another.
    ///
    /// To be called before the first push to the path. The host then pushes the samples that follow
    /// the last one known to have arrived, the same as before in the same order: they get the
    /// numbers that they had, by which the server and followers drop those that had arrived, at
    /// most `PublisherOptions::maxInFlight`. Nothing must be dropped on the way: use
    /// `Overflow::wait` and a long `maxWait`, and look at `PublisherStatistics::queues`. One
    /// publisher at a time for each path.
    /// \return sequence 0 if none is known
    /// \throws NatsException when the server does not answer within 5 s
    /// \throws std::logic_error when the path has been resumed or published here already
    ResumePoint Resume(const std::string& path);

    /// What `Resume` would tell of a path, which is left as it is.
    /// \throws NatsException as `Resume`
    ResumePoint GetResumePoint(const std::string& path) const;

    PublisherStatistics GetStatistics() const;

  private:
    class State;

    std::unique_ptr<State> state;
};

}  // namespace velmora::nats
