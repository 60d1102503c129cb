// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/export.h"
#include "storage/storage_exception.h"

#include <string>

namespace velmora::storage {

/// A history cannot be opened, read or written.
///
/// The message names the file: "History 'plant.db': the disk is full."
///
/// \threadsafety immutable
class STORAGE_API HistoryException : public StorageException {
  public:
    enum class Reason : unsigned char {
        notFound,      ///< there is no such file, or it may not be opened
        notAHistory,   ///< the file is something else
        laterVersion,  ///< a later version of the library has written the file
        locked,        ///< another process or connection holds the file for longer than the wait
        corrupt,       ///< the file's content contradicts itself
        full,          ///< the disk, a quota or a limit of the file's size
        readOnly,      ///< file or folder may not be written
        failed         ///< anything else, such as an error of the device
    };

    /// \param path the file, as the caller named it
    /// \param message what is wrong, without the file
    HistoryException(Reason reason, const std::string& path, const std::string& message);
    HistoryException(const HistoryException&) = default;             ///< copies
    HistoryException& operator=(const HistoryException&) = default;  ///< copies
    ~HistoryException() override;

    Reason GetReason() const { return reason; }

  private:
    Reason reason;
};

}  // namespace velmora::storage
