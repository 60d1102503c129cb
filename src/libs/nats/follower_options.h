// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "exchange/frame.h"
#include "exchange/frame_reader.h"
#include "exchange/type_description.h"

#include <Poco/Timestamp.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace velmora::core::tessaryn {
class Sample;
}

namespace velmora::nats {

/// Where a follower starts.
enum class Start : unsigned char {
    newest,   ///< with the newest sample of each stream
    all,      ///< with the oldest sample that the server keeps
    now,      ///< with the first sample published from now on
    time,     ///< with what the server received at `FollowerOptions::time` or later
    sequence  ///< at the number `FollowerOptions::sequence` of the JetStream stream
};

/// The last sample of a stream that a host already has.
struct Position {
    std::uint32_t numbering = 0;  ///< `FrameHeader::channel`
    std::uint64_t sequence = 0;   ///< `FrameHeader::sequence`
};

/// Options of a follower.
///
/// \threadsafety external
struct FollowerOptions {
    /// The JetStream stream that keeps the samples.
    std::string jetStream = "velmora";
    Start start = Start::newest;
    Poco::Timestamp time = 0;    ///< for `Start::time`
    std::uint64_t sequence = 1;  ///< for `Start::sequence`
    /// A name under which the server remembers what was acknowledged. A follower of a known name
    /// continues there, and `start` is ignored. Only one follower may use a name at a time. Empty:
    /// the server remembers nothing.
    std::string durable = {};
    /// For a durable follower: messages that are not acknowledged within this time are delivered
    /// again. A follower that starts while messages are unacknowledged waits this long for them.
    std::chrono::milliseconds acknowledgeWithin = std::chrono::seconds(3);
    /// Also pushes samples that this process has published.
    bool takesOwn = false;
    /// The capacity of new streams.
    long maxSize = 1000;
    exchange::ReaderLimits limits = {};
    exchange::DescriptionLimits descriptions = {};
    /// The most samples of one stream that are held back while one before them is missing.
    std::size_t maxHeld = 10000;
    /// How long to wait for a missing sample that its publisher may still send again.
    std::chrono::milliseconds maxWait = std::chrono::seconds(20);
    /// Returns the last sample of a path that the host has, so that after a restart samples arrive
    /// once and in order.
    std::function<std::optional<Position>(const std::string& path)> getPosition = {};
    /// Gets the pushed samples in place of streams, on a thread of the follower; other changes are
    /// ignored. Exceptions are logged, and the sample is counted as refused.
    std::function<void(const std::string& path, const exchange::FrameHeader& header,
                       std::unique_ptr<core::tessaryn::Sample> sample)>
        takeSample = {};
    /// Called after each push and before it is acknowledged, on a thread of the follower.
    std::function<void(const std::string& path, const exchange::FrameHeader& header)> onPushed = {};
    /// Called by a durable follower before it acknowledges some hundreds of pushes, on its thread,
    /// so that the host can save the samples first. If it throws, the exception is logged and it is
    /// called again.
    std::function<void()> beforeAcknowledge = {};
};

/// Counts of a follower.
///
/// \threadsafety external
struct FollowerStatistics {
    std::uint64_t received = 0;    ///< messages, including descriptions and repeated ones
    std::uint64_t pushed = 0;      ///< samples
    std::uint64_t duplicates = 0;  ///< samples that had been pushed before
    std::uint64_t missing = 0;     ///< numbers that were never received
    std::uint64_t own = 0;         ///< samples that this process published
    std::uint64_t unknown = 0;     ///< samples of a layout that nobody described
    std::uint64_t refused = 0;     ///< malformed messages, and samples that a stream refused
    std::uint64_t restarts = 0;    ///< how often following was interrupted and restarted
    std::uint64_t behind = 0;      ///< messages that the server has not delivered yet
};

}  // namespace velmora::nats
