// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/history_catalogue.h"
#include "storage/history_database.h"
#include "storage/history_schema.h"
#include "tessaryn/sample.h"

#include <Poco/Timestamp.h>

#include <cstdint>
#include <istream>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

namespace velmora::storage {

/// Binds samples to the parameters of a statement, one for each entry.
///
/// \threadsafety external
class RowBinder {
  public:
    explicit RowBinder(const StoredLayout& layout);

    /// Binds the time and all entries, starting at parameter `first`. The statement must run before
    /// the next call, since it refers to texts in this object.
    /// \throws std::length_error when an entry is too long for a history
    void Bind(Statement& statement, int first, const core::tessaryn::Sample& sample);

  private:
    void BindEntry(Statement& statement, int index, const core::tessaryn::Sample& sample,
                   unsigned short entry);
    void BindNumber(Statement& statement, int index, const core::tessaryn::Sample& sample,
                    unsigned short entry);
    void CheckLength(std::size_t length, unsigned short entry) const;

    const StoredLayout& layout;
    std::vector<CellForm> forms;  ///< by entry
    std::vector<std::string> texts;
};

/// Adds rows to one layout's table.
///
/// \threadsafety external
class RowWriter {
  public:
    /// \param lastFormer sequence number of the last row that is looked at by `ContainsFormer`
    RowWriter(const Database& database, std::shared_ptr<const StoredLayout> layout,
              std::int64_t lastFormer);

    const StoredLayout& GetLayout() const { return *layout; }
    /// Adds a row. Must be called in a transaction, which must end with `SaveCounts`: rows and
    /// counts may be written only then.
    /// \param sample must stay valid until then
    void Insert(const core::tessaryn::Sample& sample);
    /// Whether there is a former row of the same time and values.
    bool ContainsFormer(const core::tessaryn::Sample& sample);
    /// Reads the counts at the beginning of a transaction and writes them at its end.
    void LoadCounts();
    void SaveCounts();
    /// Whether `LoadCounts` was called, but not `SaveCounts`.
    bool IsCounting() const { return isCounting; }

  private:
    void InsertPending();

    const Database& database;
    std::shared_ptr<const StoredLayout> layout;
    std::int64_t lastFormer;
    /// For one row, and for a group of rows, which is cheaper per row.
    Statement insert;
    Statement insertGroup;
    /// One for each row of the group.
    std::vector<RowBinder> binders;
    /// Samples that are bound to the group.
    std::vector<const core::tessaryn::Sample*> pending;
    Statement select;
    std::int64_t added = 0;
    std::int64_t newest = 0;
    bool isCounting = false;
    bool isEmpty = true;
    bool isInOrder = true;
};

/// Makes samples from rows.
///
/// \threadsafety external
class RowReader {
  public:
    /// \param layout gives the samples' type; must outlive this
    RowReader(const Database& database, const StoredLayout& layout);

    /// Reads a row of a statement whose columns are the sequence number, the time and the entries.
    /// \throws HistoryException when a value does not fit its entry
    void Read(const Statement& row);
    /// The sample read last; changed by the next `Read`.
    const core::tessaryn::Sample& GetSample() const { return sample; }
    core::tessaryn::Sample& GetSample() { return sample; }

  private:
    /// Bytes that `Sample::Deserialize` reads.
    class Source : public std::streambuf {
      public:
        void Set(std::string& read) { setg(read.data(), read.data(), read.data() + read.size()); }
    };

    void AppendEntry(const Statement& row, std::size_t entry);
    bool AppendNumber(const Statement& row, int column, core::tessaryn::BaseType type);

    const Database& database;
    const StoredLayout& layout;
    std::vector<CellForm> forms;  ///< by entry
    core::tessaryn::Sample sample;
    /// The binary form: offsets, then elements.
    std::string bytes;
    Source source;
    std::istream in;
};

}  // namespace velmora::storage
