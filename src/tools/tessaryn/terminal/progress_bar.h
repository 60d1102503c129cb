// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "terminal/signal_watcher.h"

#include <cstdint>

namespace velmora::tool {

/// A line on standard error that shows how much of a file was read.
class ProgressBar {
  public:
    /// \param enabled whether the bar is ever drawn
    explicit ProgressBar(bool enabled) : enabled(enabled) {}
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar() { Clear(); }

    /// Draws the bar, at most ten times a second; draws nothing for a file of size 0.
    void Update(std::uint64_t bytesRead, std::uint64_t size, std::uint64_t samples);

    /// Removes the bar from the terminal.
    void Clear();

  private:
    bool enabled;
    bool drawn = false;
    SignalWatcher::Clock::time_point due = SignalWatcher::Clock::now();
};

}  // namespace velmora::tool
