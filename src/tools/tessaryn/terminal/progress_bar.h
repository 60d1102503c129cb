// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "terminal/signal_watcher.h"

#include <cstdint>

namespace velmora::tool {

/// One line on standard error, drawn again and again, that shows how much of a file is read.
class ProgressBar {
  public:
    /// \param enabled false for a bar that is never drawn
    explicit ProgressBar(bool enabled) : enabled(enabled) {}
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar() { Clear(); }

    /// Draws the bar, at most ten times a second.
    /// \param done bytes read
    /// \param size bytes of the file
    /// \param samples samples pushed
    void Update(std::uint64_t done, std::uint64_t size, std::uint64_t samples);

    /// Takes the bar off the terminal.
    void Clear();

  private:
    bool enabled;
    bool drawn = false;
    SignalWatcher::Clock::time_point due = SignalWatcher::Clock::now();
};

}  // namespace velmora::tool
