// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/export.h"

#include <memory>
#include <ostream>
#include <string>

namespace velmora::storage {

/// Replaces a file in one step: writes a temporary file in the same folder, syncs and renames it.
///
/// The old file is unchanged until `Commit` returns, even if the process is killed before. Symbolic
/// links are followed, also those that lead to no file yet. The temporary file is readable by its
/// owner alone; the new file gets owner, group and permissions of the old one where the system
/// allows it, but not its access list. SIGINT, SIGTERM, SIGHUP and SIGXFSZ are blocked for the
/// thread as long as the object lives, so that none leaves the temporary file behind; one that a
/// killed process left is removed by the next replacement in that folder.
///
/// \threadsafety external: made, used and destroyed by one thread
class STORAGE_API FileReplacement {
  public:
    /// Makes the temporary file.
    /// \throws StorageException when the folder is not writable, or the path is that of something
    /// else than a regular file
    explicit FileReplacement(const std::string& path);
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;
    /// Removes the temporary file, unless it was committed.
    ~FileReplacement();

    /// The new content. Fails when the file cannot be written; `Commit` then says why.
    std::ostream& GetStream();

    /// Syncs the new content, puts it in the place of the old and syncs the folder.
    /// \throws StorageException when that, or writing before, fails. The old file is then
    /// unchanged, unless the message says that the folder could not be synced: then the new one has
    /// replaced it, but may not survive a loss of power.
    void Commit();

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation;
};

}  // namespace velmora::storage
