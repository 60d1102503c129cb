// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/history_database.h"
#include "storage/history_types.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/stream_type_collection.h"

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace velmora::storage {

/// A layout, and the stream type made of it.
///
/// \threadsafety immutable
class StoredLayout {
  public:
    /// \throws std::exception when there is no such type
    explicit StoredLayout(HistoryLayout layout);

    const HistoryLayout& Get() const { return layout; }
    std::int64_t GetId() const { return layout.id; }
    /// The type of samples that are read.
    core::tessaryn::StreamType* GetType() const { return type.get(); }
    bool IsOf(const core::tessaryn::StreamType& other) const;

  private:
    HistoryLayout layout;
    std::unique_ptr<core::tessaryn::StreamTypeCollection> name;
    std::unique_ptr<core::tessaryn::StreamType> type;
};

/// A stream, and its layouts, the oldest first.
struct StoredStream {
    HistoryStream stream;  ///< without layouts
    std::vector<std::shared_ptr<const StoredLayout>> layouts = {};
};

/// The streams and layouts of a history, as of the last `Refresh`.
///
/// Everything is checked when it is read: the statement that created a table must be, to the byte,
/// the one that the catalogue's entries give.
///
/// \threadsafety external
class Catalogue {
  public:
    /// The most entries of a type that a table can hold.
    static constexpr std::size_t maxEntries = 1900;
    /// The most bytes of a sample of initial sizes, which readers allocate.
    static constexpr std::uint64_t maxInitialBytes = std::uint64_t{64} * 1024 * 1024;

    explicit Catalogue(const Database& database) : database(database) {}

    /// Reads the catalogue again if tables were added. Types read before stay valid.
    /// \throws HistoryException when the catalogue contradicts itself or the tables
    void Refresh();
    /// Forgets what was added in a transaction that has been rolled back.
    void Forget();

    /// By id, which ascends in the order of arrival.
    const std::map<std::int64_t, StoredStream>& GetStreams() const { return streams; }
    /// The stream of a path, or null.
    const StoredStream* Find(const std::string& path) const;

    /// The layout for samples of a type in a stream, added if it is missing. Must be called in a
    /// writing transaction, after `Refresh`.
    /// \throws std::length_error when the type has too many entries, or too large ones
    std::shared_ptr<const StoredLayout> FindOrAdd(const std::string& path,
                                                  const core::tessaryn::StreamType& type);

    /// \throws HistoryException also when there is no such stream or entry
    void SetText(const std::string& path, const std::string& text);
    void SetEntryText(const std::string& path, const std::string& entry, const std::string& unit,
                      const std::string& text);

  private:
    const StoredStream& Get(const std::string& path) const;
    void CheckTables();
    void ReadStreams();
    void ReadLayouts();
    std::vector<HistoryEntry> ReadEntries(std::int64_t layout);
    StoredStream& AddStream(const std::string& path);
    void AddLayout(StoredStream& stream, HistoryLayout layout);
    void InsertEntries(const HistoryLayout& layout);

    const Database& database;
    std::int64_t schemaVersion = -1;
    std::map<std::int64_t, StoredStream> streams;
    std::map<std::string, std::int64_t> idsByPath;
    /// The statements that created the tables named "velmora_...", by name.
    std::map<std::string, std::string> tables;
};

/// An open history.
///
/// \threadsafety external
class HistoryConnection {
  public:
    HistoryConnection(const std::string& path, HistoryMode mode,
                      std::chrono::milliseconds lockTimeout)
        : database(path, mode, lockTimeout), catalogue(database) {
        catalogue.Refresh();
    }

    Database database;
    Catalogue catalogue;
};

}  // namespace velmora::storage
