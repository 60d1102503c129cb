// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/feed.h"

#include <memory>
#include <thread>

namespace velmora::tool {

/// A thread that runs a feed, and runs it again when it has failed.
class FeedThread {
  public:
    /// \throws CommandError as `MakeFeed`
    FeedThread(const SourceConfig& config, Plant& plant, ServiceLog& log, ServiceManager& manager,
               int endDescriptor);
    FeedThread(const FeedThread&) = delete;
    FeedThread& operator=(const FeedThread&) = delete;
    /// Waits for the thread, which ends as soon as the descriptor is readable.
    ~FeedThread();

    void Start();
    const std::string& GetName() const { return context.config.name; }
    const FeedCounts& GetCounts() const { return counts; }

  private:
    void RunUntilEnd();

    FeedCounts counts;
    FeedContext context;
    std::unique_ptr<Feed> feed;
    std::thread thread;
};

}  // namespace velmora::tool
