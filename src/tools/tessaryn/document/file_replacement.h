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

/// Replaces a file atomically: writes a temporary file in the same folder, then renames it.
///
/// The old file is unchanged until `Commit` returns. Symbolic links are followed, also those that
/// lead to no file yet. The temporary file is readable by its owner alone; the new file gets owner,
/// group and permissions of the old one where the system allows it. SIGINT, SIGTERM and SIGHUP are
/// blocked as long as the object lives, so that none leaves the temporary file behind; one that a
/// killed process left is removed by the next replacement in that folder.
class FileReplacement {
  public:
    /// \throws CommandError when the folder is not writable, or the path is that of something else
    /// than a regular file
    explicit FileReplacement(const std::string& path);
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;
    /// Removes the temporary file, unless it was committed.
    ~FileReplacement();

    /// The new content. Fails when the file cannot be written; `Commit` then reports why.
    std::ostream& GetStream() { return stream; }

    /// Makes the new content durable and puts it in the place of the old.
    /// \throws CommandError when that, or writing before, fails
    void Commit();

  private:
    /// Blocks signals as long as it lives.
    class SignalBlocker {
      public:
        SignalBlocker();
        SignalBlocker(const SignalBlocker&) = delete;
        SignalBlocker& operator=(const SignalBlocker&) = delete;
        ~SignalBlocker();

      private:
        sigset_t previous;
    };

    /// Writes to a descriptor in blocks and keeps the first error.
    class FileBuffer : public std::streambuf {
      public:
        FileBuffer();
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
    void CopyPermissions();
    void Rename();
    [[noreturn]] void Fail(int error) const;

    SignalBlocker signals;
    /// The path as the user wrote it, for messages.
    std::string name;
    std::string target;
    std::string folder;
    std::string temporary;
    bool replaces = false;
    struct stat oldStatus {};
    FileBuffer buffer;
    std::ostream stream{&buffer};
};

}  // namespace velmora::tool
