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

/// Where a follower begins.
enum class Start : unsigned char {
    newest,   ///< with the newest sample of each stream
    all,      ///< with the oldest sample that the server keeps
    now,      ///< with what is published from now on
    time,     ///< with what the server received from `FollowerOptions::time` on
    sequence  ///< at the number `FollowerOptions::sequence` of the JetStream stream
};

/// The last sample of a stream that a host has already.
struct Position {
    std::uint32_t numbering = 0;  ///< `FrameHeader::channel`
    std::uint64_t sequence = 0;   ///< `FrameHeader::sequence`
};

/// How samples are followed.
///
/// \threadsafety external
struct FollowerOptions {
    /// The JetStream stream that keeps the samples.
    std::string jetStream = "velmora";
    Start start = Start::newest;
    Poco::Timestamp time = 0;    ///< of `Start::time`
    std::uint64_t sequence = 1;  ///< of `Start::sequence`
    /// A name under which the server remembers what was pushed: a follower of that name goes on
    /// there, whatever `start` says. One follower at a time. Empty: the server remembers nothing.
    std::string durable = {};
    /// Of a durable follower: what is not acknowledged in this time comes again, and one that
    /// begins while something is not acknowledged waits for it as long.
    std::chrono::milliseconds acknowledgeWithin = std::chrono::seconds(3);
    /// Pushes also what this process has published.
    bool takesOwn = false;
    /// Samples that a new stream keeps.
    long maxSize = 1000;
    exchange::ReaderLimits limits = {};
    exchange::DescriptionLimits descriptions = {};
    /// Samples of one stream that are held back at most while one before them is missing.
    std::size_t maxHeld = 10000;
    /// How long a missing sample is waited for that its publisher may still send again.
    std::chrono::milliseconds maxWait = std::chrono::seconds(20);
    /// Tells what the host has of a path, so that nothing comes twice, and all in order, after a
    /// restart.
    std::function<std::optional<Position>(const std::string& path)> getPosition = {};
    /// Takes the pushed samples, so that no stream is made of them, on a thread of the follower;
    /// other changes are left out. What it throws is logged, and the sample counted as refused.
    std::function<void(const std::string& path, const exchange::FrameHeader& header,
                       std::unique_ptr<core::tessaryn::Sample> sample)>
        takeSample = {};
    /// Called after each push and before it is acknowledged, on a thread of the follower.
    std::function<void(const std::string& path, const exchange::FrameHeader& header)> onPushed = {};
    /// Called by a durable follower before it acknowledges some hundreds of pushes, on its thread:
    /// where a host writes down what it was told. What it throws is logged, and it is called again.
    std::function<void()> beforeAcknowledge = {};
};

/// Counts of a follower.
///
/// \threadsafety external
struct FollowerStatistics {
    std::uint64_t received = 0;    ///< messages, descriptions and repeated ones included
    std::uint64_t pushed = 0;      ///< samples
    std::uint64_t duplicates = 0;  ///< samples that were there already
    std::uint64_t missing = 0;     ///< numbers that never came
    std::uint64_t own = 0;         ///< samples that this process published
    std::uint64_t unknown = 0;     ///< samples of a layout that nobody described
    std::uint64_t refused = 0;     ///< messages that are no frames, or none that the streams take
    std::uint64_t restarts = 0;    ///< times that following had to begin again
    std::uint64_t behind = 0;      ///< messages that the server has ready
};

}  // namespace velmora::nats
