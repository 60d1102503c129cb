// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <chrono>
#include <optional>

namespace velmora::tool {

/// Reports when the run must end early: SIGINT, SIGTERM or SIGHUP arrived, or the time that the
/// program may run is over. All waiting goes through it, so that neither is missed.
///
/// The signals are blocked and read from a descriptor as long as the object lives. A signal that
/// was ignored at the start remains ignored.
class SignalWatcher {
  public:
    enum class Event { ready, timeout, stopped };
    using Clock = std::chrono::steady_clock;

    /// \throws CommandError when the system refuses the descriptor
    SignalWatcher();
    /// For a thread that is ended by another one: does not touch signals, and reports the end of
    /// the run as soon as a descriptor is readable.
    /// \param endDescriptor must stay open; any number of objects may wait for it
    explicit SignalWatcher(int endDescriptor);
    SignalWatcher(const SignalWatcher&) = delete;
    SignalWatcher& operator=(const SignalWatcher&) = delete;
    ~SignalWatcher();

    /// Ends the run after a time from now.
    void StopAfter(std::chrono::microseconds duration);

    /// Waits until a descriptor is readable, until a time, or until the end of the run.
    /// \param descriptor what to read from; -1 for nothing
    /// \param until no limit when absent
    Event WaitReadable(int descriptor, std::optional<Clock::time_point> until = std::nullopt);

    /// Waits until a descriptor can be written to, also after the end of the run; after a signal
    /// for at most a second.
    bool WaitWritable(int descriptor);

    /// Whether the run has ended, as of the last wait.
    bool IsStopped() const { return stopped; }
    /// Whether a signal ended it.
    bool IsInterrupted() const { return interrupted; }

  private:
    Event Poll(int descriptor, short events, std::optional<Clock::time_point> until);

    int signalDescriptor = -1;
    bool ownsDescriptor = true;
    bool stopped = false;
    bool interrupted = false;
    std::optional<Clock::time_point> deadline;
};

}  // namespace velmora::tool
