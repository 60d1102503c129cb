// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "terminal/signal_watcher.h"

#include <functional>
#include <string>

namespace velmora::tool {

/// Standard output, buffered.
///
/// The output is closed once its reader has gone: later writes are discarded without an error.
class StandardOutput {
  public:
    /// Writes block until the reader takes them.
    StandardOutput();
    /// A signal ends waiting for a slow reader, which closes the output.
    /// \param signals \ownership observes
    explicit StandardOutput(SignalWatcher& signals);

    /// The buffer to append to; call `Commit` after each line.
    std::string& GetBuffer() { return buffer; }

    /// Writes the buffer once it is large.
    /// \throws CommandError when writing fails, unless the reader has gone
    void Commit() {
        if (buffer.size() >= maxBuffered) {
            Flush();
        }
    }

    /// Writes the buffer.
    /// \throws CommandError as above
    void Flush();

    /// Sets a function that is called before each write.
    void BeforeWrite(std::function<void()> action) { beforeWrite = std::move(action); }

    /// Whether the reader has gone.
    bool IsClosed() const { return closed; }

  private:
    static constexpr std::size_t maxBuffered = 64UL * 1024;

    bool IsReaderGone(int error) const;

    SignalWatcher* signals = nullptr;
    std::function<void()> beforeWrite;
    std::string buffer;
    /// Bytes that can be written without waiting once the descriptor is ready.
    std::size_t chunkSize;
    bool isTerminal;
    bool closed = false;
};

}  // namespace velmora::tool
