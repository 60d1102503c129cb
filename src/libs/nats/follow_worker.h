// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/fingerprint.h"
#include "exchange/sample_decoder.h"
#include "nats/follow_target.h"
#include "nats/follower_options.h"
#include "nats/pull_consumer.h"
#include "nats/sequence_gate.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velmora::nats {

/// State that the threads of a follower share.
///
/// \threadsafety guarded
class FollowControl {
  public:
    /// Stops all threads, also those that wait.
    void Stop();
    bool IsStopping() const;
    /// \return whether the follower stops
    bool Wait(std::chrono::milliseconds time);
    void Add(const FollowerStatistics& counts);
    FollowerStatistics Get() const;

  private:
    mutable std::mutex mutex;
    std::condition_variable stopped;
    // Guarded by `mutex`.
    FollowerStatistics statistics;
    bool isStopping = false;
};

/// Follows one subject, on the calling thread.
///
/// \threadsafety external
class FollowWorker {
  public:
    /// \param index of the subject, from 0
    FollowWorker(const Connection& connection, const JetStream& jetStream, FollowTarget& target,
                 const FollowerOptions& options, FollowControl& control, const std::string& subject,
                 std::size_t index);
    FollowWorker(const FollowWorker&) = delete;
    FollowWorker& operator=(const FollowWorker&) = delete;

    /// Returns when the follower stops.
    void Run();

  private:
    // The gate of one subject and numbering, and the samples that have passed it but were not
    // pushed yet.
    struct Gate {
        std::string path;
        SequenceGate gate;
        std::vector<Numbered> passed;
    };

    struct SubjectHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const {
            return std::hash<std::string_view>()(text);
        }
    };

    using Gates = std::unordered_map<std::uint32_t, Gate>;

    bool Begin();
    void SetStart(jsConsumerConfig& config);
    void Take(PullConsumer::Delivered& next);
    bool Receive(natsMsg* message);
    bool Offer(natsMsg* message, const exchange::Frame& frame, core::tessaryn::StreamType& type);
    core::tessaryn::StreamType* FindType(const exchange::Fingerprint& fingerprint);
    Gate& FindGate(natsMsg* message, std::uint32_t numbering);
    std::optional<std::uint64_t> FindLast(natsMsg* message, const std::string& path,
                                          std::uint32_t numbering) const;
    void PassHeld();
    void Push();
    void Acknowledge();

    const JetStream& jetStream;
    FollowTarget& target;
    const FollowerOptions& options;
    FollowControl& control;
    PullConsumer consumer;
    exchange::SampleDecoder decoder;
    std::unordered_map<exchange::Fingerprint, core::tessaryn::StreamType*> types;
    std::unordered_map<std::string, Gates, SubjectHash, std::equal_to<>> subjects;
    std::vector<Gate*> touched;
    std::vector<Gate*> holding;
    // Received since the last push.
    std::uint64_t received = 0;
    FollowerStatistics counts;
    // When the JetStream stream was created, and the number of its last message received.
    std::int64_t created = 0;
    std::uint64_t lastInStream = 0;
    // The reply subject of the last message that may be acknowledged once all received samples are
    // pushed.
    std::string acknowledgement;
    bool isFromBeginning = false;
};

}  // namespace velmora::nats
