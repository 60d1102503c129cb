// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "terminal/signal_watcher.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// A file, or standard input, read in blocks.
class InputFile {
  public:
    /// Returns at once for a FIFO without a writer; reading it waits for one.
    /// \param path "-" for standard input
    /// \param signals \ownership observes: ends the input early
    /// \param follow whether a regular file has no end: reading waits until it grows, starts again
    /// when it was truncated, and continues with a file that replaces it
    /// \throws CommandError when the file cannot be opened or is a directory
    InputFile(const std::string& path, SignalWatcher& signals, bool follow = false);
    /// Reads from a descriptor until its end.
    /// \param openDescriptor \ownership takes: closed with the object
    /// \param name for messages
    InputFile(int openDescriptor, const std::string& name, SignalWatcher& signals);
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile();

    /// Sets a function that is called before each read.
    void BeforeRead(std::function<void()> action) { beforeRead = std::move(action); }

    /// The next bytes; waits until there are some.
    /// \return valid until the next call; empty at the end of the input, or of the run
    /// \throws CommandError when reading fails
    std::string_view Read();

    /// Whether more input, or its end, arrives within a time.
    bool HasMoreWithin(std::chrono::milliseconds time);

    /// Whether the end of the input was read.
    bool IsAtEnd() const { return atEnd; }
    /// The file's name for messages.
    const std::string& GetName() const { return name; }
    /// Bytes read so far.
    std::uint64_t GetPosition() const { return position; }
    /// Bytes of a regular file; 0 for any other input.
    std::uint64_t GetSize() const { return size; }

  private:
    [[noreturn]] void Fail(const char* action) const;
    bool WaitForGrowth(std::chrono::milliseconds time);
    bool ReplaceIfRotated();

    SignalWatcher& signals;
    std::function<void()> beforeRead;
    std::string path;
    std::string name;
    bool follow;
    int descriptor = -1;
    bool atEnd = false;
    std::uint64_t position = 0;
    /// Bytes read of the file that is open now.
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::vector<char> block;
};

}  // namespace velmora::tool
