// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <chrono>
#include <optional>

namespace velmora::tool {

/// Knows when the program is to end early: an interrupt or termination signal came, or the time
/// that it may run is over. All waiting goes through it, so that neither is overlooked.
///
/// While it lives these signals are blocked and read from a descriptor; a broken pipe is an error
/// of writing and no signal. A signal that was ignored at the start stays ignored.
class SignalWatcher {
  public:
    enum class Event { ready, timeout, stopped };
    using Clock = std::chrono::steady_clock;

    /// \throws CommandError when the system refuses the descriptor
    SignalWatcher();
    SignalWatcher(const SignalWatcher&) = delete;
    SignalWatcher& operator=(const SignalWatcher&) = delete;
    ~SignalWatcher();

    /// Ends the run after that time, counted from now.
    void StopAfter(std::chrono::microseconds duration);

    /// Waits until a descriptor can be read, until a moment, or until the end of the run.
    /// \param descriptor what to read from; -1 for nothing
    /// \param until the moment; never when absent
    Event WaitReadable(int descriptor, std::optional<Clock::time_point> until = std::nullopt);

    /// Waits until a descriptor can be written to. What the run found is still written after its
    /// end; only an interrupted run gives a slow reader up after a second.
    bool WaitWritable(int descriptor);

    /// Whether the run has ended, as far as the last wait saw.
    bool IsStopped() const { return stopped; }
    /// Whether a signal ended it.
    bool IsInterrupted() const { return interrupted; }

  private:
    Event Poll(int descriptor, short events, std::optional<Clock::time_point> until);

    int signalDescriptor = -1;
    bool stopped = false;
    bool interrupted = false;
    std::optional<Clock::time_point> deadline;
};

}  // namespace velmora::tool
