// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/feed.h"
#include "source/open_sources.h"
#include "terminal/signal_watcher.h"

#include <string>
#include <vector>

namespace velmora::tool {

/// Reads a file and follows it, or reads a FIFO, standard input, or this machine's figures.
class TableFeed : public Feed {
  public:
    /// \param context is copied; what it refers to must outlive the feed
    explicit TableFeed(const FeedContext& context) : context(context) {}
    void Run() override;

  private:
    std::vector<NamedSource> Open(SignalWatcher& signals, bool isFifo) const;
    void Read(NamedSource& named, const SignalWatcher& signals, bool isRegular) const;

    FeedContext context;
};

}  // namespace velmora::tool
