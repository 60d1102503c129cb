// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "terminal/signal_watcher.h"

#include <functional>
#include <string>

namespace velmora::tool {

/// Standard output, collected and written in large pieces.
///
/// A reader that has gone, or that an interrupted run gave up, closes the output: nothing is
/// written from then on.
class StandardOutput {
  public:
    /// \param signals \ownership observes: a signal ends waiting for a slow reader
    explicit StandardOutput(SignalWatcher& signals);

    /// Where to append to; call `Commit` after each line.
    std::string& GetBuffer() { return buffer; }

    /// Writes when enough is there.
    /// \throws CommandError when writing fails for any reason but a reader that has gone
    void Commit() {
        if (buffer.size() >= enough) {
            Flush();
        }
    }

    /// Writes all that is there.
    /// \throws CommandError as above
    void Flush();

    /// Sets what is called before something is written.
    void BeforeWrite(std::function<void()> action) { beforeWrite = std::move(action); }

    /// Whether nobody reads any more.
    bool IsClosed() const { return closed; }

  private:
    static constexpr std::size_t enough = 64UL * 1024;

    SignalWatcher& signals;
    std::function<void()> beforeWrite;
    std::string buffer;
    /// A chunk that can be written without waiting once the descriptor is ready.
    std::size_t chunkSize;
    bool closed = false;
};

}  // namespace velmora::tool
