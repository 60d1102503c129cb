// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/plant.h"
#include "serve/serve_config.h"
#include "serve/service_log.h"
#include "serve/service_manager.h"

#include <atomic>
#include <cstdint>

namespace velmora::tool {

/// The counts of a source, written by its thread and read by others.
struct FeedCounts {
    std::atomic<std::uint64_t> rows = 0;
    /// Bad rows that were skipped.
    std::atomic<std::uint64_t> skipped = 0;
    /// How often the source could not be read.
    std::atomic<std::uint64_t> failures = 0;
};

/// The objects that a feed uses. All of them outlive it.
struct FeedContext {
    const SourceConfig& config;
    Plant& plant;
    ServiceLog& log;
    ServiceManager& manager;
    FeedCounts& counts;
    /// A descriptor that is readable as soon as feeds have to end.
    int endDescriptor;
};

/// Reads one source of the configuration and pushes its samples into the plant.
///
/// `FeedThread` calls `Run` on its own thread; if it throws, again after a while, until it returns.
class Feed {
  public:
    Feed() = default;
    Feed(const Feed&) = delete;
    Feed& operator=(const Feed&) = delete;
    virtual ~Feed() = default;

    /// Reads until the source, or the run, ends.
    /// \throws std::exception when the source cannot be read: its message is logged
    virtual void Run() = 0;
};

}  // namespace velmora::tool
