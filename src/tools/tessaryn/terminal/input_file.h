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

/// A file, or standard input, read block by block.
class InputFile {
  public:
    /// \param path the file; "-" for standard input
    /// \param signals \ownership observes: ends the input early
    /// \throws CommandError when the file can't be opened or is a directory
    InputFile(const std::string& path, SignalWatcher& signals);
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile();

    /// Sets what is called before each read, which may wait.
    void BeforeRead(std::function<void()> action) { beforeRead = std::move(action); }

    /// The next bytes, as many as there are up to the size of a block; waits for the first one.
    /// Empty at the end of the input, or of the run. Valid until the next call.
    /// \throws CommandError when reading fails
    std::string_view Read();

    /// Waits a moment for more input; false when there is none, or only its end is left.
    bool HasMoreWithin(std::chrono::milliseconds moment);

    /// Whether the whole input was read.
    bool IsAtEnd() const { return atEnd; }
    /// The file's name for messages.
    const std::string& GetName() const { return name; }
    /// Bytes read so far.
    std::uint64_t GetPosition() const { return position; }
    /// Bytes of a regular file; 0 for what has no size.
    std::uint64_t GetSize() const { return size; }

  private:
    [[noreturn]] void Fail(const char* what) const;

    SignalWatcher& signals;
    std::function<void()> beforeRead;
    std::string name;
    int descriptor = -1;
    bool atEnd = false;
    std::uint64_t position = 0;
    std::uint64_t size = 0;
    std::vector<char> block;
};

}  // namespace velmora::tool
