// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/export.h"
#include "storage/history_types.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace velmora::storage {

class HistoryConnection;

/// A file with the samples of streams: an SQLite database with a table for each type of each
/// stream, and a view named like the stream's path. Other programs can read it;
/// docs/history_format.md describes the layout.
///
/// An object is one connection. Any number of them, of any process, may read while one
/// `HistoryWriter` writes.
///
/// \threadsafety external: together with all readers made from it
class STORAGE_API History {
  public:
    /// Opens a history.
    /// \param lockTimeout how long this and later operations wait where another process holds the
    /// whole file
    /// \throws HistoryException when there is no such file, or it is not a history, of a later
    /// version, locked or corrupt; the file is not changed
    explicit History(const std::string& path, HistoryMode mode = HistoryMode::read,
                     std::chrono::milliseconds lockTimeout = std::chrono::seconds(5));
    History(History&& other) noexcept;
    History& operator=(History&& other) noexcept;
    ~History();

    /// The file, as the caller named it.
    const std::string& GetPath() const;
    /// What the history holds now, in the order in which streams were added. Costs a few look-ups
    /// for each layout, independent of the number of rows.
    /// \throws HistoryException
    std::vector<HistoryStream> GetStreams() const;
    /// Bytes of the file that are in use; the others are free for new rows.
    /// \throws HistoryException
    std::uint64_t GetUsedBytes() const;

    /// \name Descriptions for readers of the file. Later layouts of the stream inherit them.
    /// \throws HistoryException also when there is no such stream or entry
    ///@{
    void SetText(const std::string& path, const std::string& text);
    void SetEntryText(const std::string& path, const std::string& entry, const std::string& unit,
                      const std::string& text);
    ///@}

    /// Reads the whole file and checks its consistency.
    /// \throws HistoryException when it is inconsistent
    void CheckIntegrity() const;

  private:
    friend class HistoryReader;

    std::unique_ptr<HistoryConnection> connection;
};

}  // namespace velmora::storage
