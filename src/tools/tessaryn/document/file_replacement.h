// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <csignal>
#include <ostream>
#include <streambuf>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace velmora::tool {

/// A file that is written beside the one whose place it takes once it is complete.
///
/// Until `Commit` has returned, the old file stays as it is and no half of a new one is seen. Of a
/// symbolic link the file that it leads to is replaced; the new file gets the old one's mode.
/// While it lives the signals that end a program wait, so that none leaves the temporary behind.
class FileReplacement {
  public:
    /// \param path the file to replace or make
    /// \throws CommandError when its folder can't be written to, or the path is that of something
    /// else than a file
    explicit FileReplacement(const std::string& path);
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;
    /// Removes what was written, unless it was committed.
    ~FileReplacement();

    /// Where to write to. Fails where the file does; `Commit` then tells why.
    std::ostream& GetStream() { return stream; }

    /// Puts the file in its place, on the disk and under its name.
    /// \throws CommandError when anything of that, or of the writing before, fails
    void Commit();

  private:
    /// Keeps signals waiting as long as it lives.
    class SignalBlocker {
      public:
        SignalBlocker();
        SignalBlocker(const SignalBlocker&) = delete;
        SignalBlocker& operator=(const SignalBlocker&) = delete;
        ~SignalBlocker();

      private:
        sigset_t before;
    };

    /// Collects blocks, and remembers why one could not be written.
    class Block : public std::streambuf {
      public:
        Block();
        int descriptor = -1;
        int error = 0;

      protected:
        int_type overflow(int_type next) override;
        int sync() override;

      private:
        std::vector<char> bytes;
    };

    void CheckTarget();
    void CreateTemporary();
    void MoveIntoPlace();
    [[noreturn]] void Fail(int error) const;

    SignalBlocker signals;
    std::string name;
    std::string target;
    std::string folder;
    std::string temporary;
    bool replaces = false;
    mode_t mode = 0;
    Block block;
    std::ostream stream{&block};
};

}  // namespace velmora::tool
