// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/feed.h"
#include "source/open_sources.h"
#include "terminal/signal_watcher.h"

#include <chrono>
#include <cstdint>

namespace velmora::tool {

/// Pushes the samples of a recording at the pace of their times, or faster. A recording is a table,
/// a document or a history; the samples of all its streams are pushed in the order of time.
///
/// The samples get the times at which they are pushed, unless the configuration keeps their own.
class ReplayFeed : public Feed {
  public:
    /// \param context is copied; what it refers to must outlive the feed
    explicit ReplayFeed(const FeedContext& context) : context(context) {}
    void Run() override;

  private:
    /// \return microseconds until the recording may start again
    std::int64_t RunOnce(SignalWatcher& signals, std::int64_t begin,
                         SignalWatcher::Clock::time_point start);

    FeedContext context;
};

}  // namespace velmora::tool
