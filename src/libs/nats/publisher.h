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

/// Options of a publisher.
///
/// \threadsafety external
struct PublisherOptions {
    /// The JetStream stream that keeps the samples. If it does not exist, or is deleted later, it
    /// is created with storage in files; if it exists, missing subjects are added.
    std::string jetStream = "velmora";
    /// Replicas of a JetStream stream that the publisher creates.
    int replicas = 1;
    /// Selects changes to publish, among the pushes of this process.
    std::string rule = "pushed()";
    /// The capacity of each stream's queue between pushers and the connection.
    std::size_t capacity = 10000;
    delivery::Overflow overflow = delivery::Overflow::dropOldest;
    /// For `Overflow::wait`: how long a push may wait.
    std::chrono::microseconds maxWait = std::chrono::milliseconds(100);
    /// The most messages that are sent but not acknowledged yet.
    std::size_t maxInFlight = 4096;
    /// A message that is not acknowledged within this time is sent again.
    std::chrono::milliseconds acknowledgeWithin = std::chrono::seconds(5);
    /// How often to look for new streams.
    std::chrono::milliseconds rescanInterval = std::chrono::seconds(1);
    /// Also publishes samples that a follower of this process has pushed. Beware of loops.
    bool relaysFollowed = false;
};

/// Counts of a publisher.
///
/// \threadsafety external
struct PublisherStatistics {
    delivery::DeliveryStatistics queues;  ///< between pushers and connection, summed
    std::uint64_t acknowledged = 0;       ///< messages that the server keeps
    std::uint64_t duplicates = 0;         ///< of these, acknowledged as already known
    std::uint64_t repeated = 0;           ///< how often a message was sent again
    std::uint64_t refused = 0;            ///< how often a message was not accepted
    std::uint64_t inFlight = 0;           ///< messages sent and not acknowledged
};

/// Where a source continues, see `Publisher::Resume`.
///
/// \threadsafety external
struct ResumePoint {
    /// The number of the last sample of the path that is known to have arrived with all before it;
    /// 0 if there is none.
    std::uint64_t sequence = 0;
    /// The time of that sample; 0 if there is none.
    Poco::Timestamp time = 0;
    /// The newest sample that the server has, which may have arrived before others; 0 if there is
    /// none. If the source does not have a sample of this time at this number, it is a different
    /// source.
    std::uint64_t newest = 0;
    Poco::Timestamp newestTime = 0;
};

/// Publishes the changes of streams to a JetStream stream of a NATS server, as frames of
/// `velmora::exchange`, with a subject for each stream (see `ToSubject`).
///
/// A push does not wait for the server: it puts its sample into a bounded queue. Samples from the
/// queue are numbered stream by stream, and sent repeatedly until the server has acknowledged them,
/// even if the connection or the server is lost meanwhile. The server drops duplicates; a follower
/// restores the order.
///
/// A publisher starts a new numbering of a path, from 1, unless `Resume` was called for the path:
/// then a source that can push its samples again loses and repeats none, even if the process was
/// killed.
///
/// Descriptions of types are stored with the samples, at `ToTypeSubject`.
///
/// Connection and repository must outlive the publisher.
///
/// \threadsafety guarded
class NATS_BRIDGE_API Publisher {
  public:
    /// \param patterns of the paths of streams, see `delivery::StreamPattern`; streams added later
    /// are found. A JetStream stream cannot take all subjects: for a pattern that begins with a
    /// wildcard, it takes those below the first name of each path
    /// \throws std::invalid_argument for a malformed pattern, Poco::SyntaxException for a malformed
    /// rule
    Publisher(Connection& connection, core::tessaryn::StreamRepository& repository,
              const std::vector<std::string>& patterns, const PublisherOptions& options = {});
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;
    /// Drops samples that are queued or not acknowledged, unless `Flush` is called before.
    ~Publisher();

    /// Waits until all samples pushed before are acknowledged.
    /// \return whether that happened in time
    bool Flush(std::chrono::milliseconds timeout);

    /// Looks for new streams, without waiting for `PublisherOptions::rescanInterval`; samples
    /// pushed to them from now on are published.
    void Rescan();

    /// Continues where an earlier publisher of the path ended, in this process or another.
    ///
    /// Call this before the first push to the path. The host then pushes the samples that follow
    /// the last one known to have arrived, the same as before and in the same order. They get the
    /// same numbers as before, so the server and followers drop those that had arrived, at most
    /// `PublisherOptions::maxInFlight`. The queue must not drop any: use `Overflow::wait` with a
    /// long `maxWait`, and check `PublisherStatistics::queues`. A path must have only one publisher
    /// at a time.
    /// \return the sequence is 0 if no sample is known to have arrived
    /// \throws NatsException when the server does not answer within 5 s
    /// \throws std::logic_error when the path has been resumed or published here already
    ResumePoint Resume(const std::string& path);

    /// What `Resume` would return for a path, without resuming it.
    /// \throws NatsException as `Resume`
    ResumePoint GetResumePoint(const std::string& path) const;

    PublisherStatistics GetStatistics() const;

  private:
    class State;

    std::unique_ptr<State> state;
};

}  // namespace velmora::nats
