// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/feed.h"
#include "terminal/signal_watcher.h"

#include <string>

namespace velmora::tool {

/// Reads JSON lines or a table from a descriptor passed by systemd: a FIFO, a connection, or a
/// listening socket, whose connections each get a thread.
class SocketFeed : public Feed {
  public:
    /// \param context is copied; what it refers to must outlive the feed
    /// \param name the name that FileDescriptorName= gives
    /// \throws CommandError when there is no such descriptor
    SocketFeed(const FeedContext& context, const std::string& name);
    ~SocketFeed() override;
    void Run() override;

  private:
    void Accept(SignalWatcher& signals);
    void ReadConnection(int connection) const;
    void Read(int input, SignalWatcher& signals) const;

    FeedContext context;
    std::string name;
    int descriptor;
};

}  // namespace velmora::tool
