// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "common/base_exception.h"
#include "storage/export.h"

#include <string>

namespace velmora::storage {

/// A file cannot be read or written.
///
/// \threadsafety immutable
class STORAGE_API StorageException : public BaseException {
  public:
    /// \param path the file, as the caller named it
    /// \param message names the file and the reason
    StorageException(const std::string& path, const std::string& message);
    StorageException(const StorageException&) = default;             ///< copies
    StorageException& operator=(const StorageException&) = default;  ///< copies
    ~StorageException() override;

    /// The file, as the caller named it.
    const std::string& GetPath() const { return path; }

  private:
    std::string path;
};

}  // namespace velmora::storage
