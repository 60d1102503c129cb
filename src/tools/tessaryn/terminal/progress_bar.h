// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "terminal/signal_watcher.h"

#include <chrono>
#include <cstdint>
#include <string>

namespace velmora::tool {

/// The text of a progress bar: how much of a file was read, how fast, and the time left.
/// \param bytesRead,size of the file; a size of 0 if it is not known
/// \param samples read so far
/// \param seconds since the first was read
std::string DescribeProgress(std::uint64_t bytesRead, std::uint64_t size, std::uint64_t samples,
                             double seconds);

/// A line on standard error that shows how much was read. It appears after a second.
class ProgressBar {
  public:
    /// \param enabled whether the bar is ever drawn
    explicit ProgressBar(bool enabled) : enabled(enabled) {}
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar() { Clear(); }

    /// Draws the bar, at most ten times a second; draws nothing for a file of size 0.
    /// \param samples of all files
    void Update(std::uint64_t bytesRead, std::uint64_t size, std::uint64_t samples) {
        if (size > 0) {
            Draw(bytesRead, size, samples);
        }
    }

    /// Draws the number of samples and their rate, if the size is not known.
    void Update(std::uint64_t samples) { Draw(0, 0, samples); }

    /// Removes the bar from the terminal.
    void Clear();

  private:
    using Clock = SignalWatcher::Clock;

    void Draw(std::uint64_t bytesRead, std::uint64_t size, std::uint64_t samples);

    bool enabled;
    bool drawn = false;
    Clock::time_point due = Clock::now() + std::chrono::seconds(1);
    /// When reading the file started, the samples before it, and the bytes of it read last.
    Clock::time_point begin = Clock::now();
    std::uint64_t samplesBefore = 0;
    std::uint64_t lastRead = 0;
};

}  // namespace velmora::tool
