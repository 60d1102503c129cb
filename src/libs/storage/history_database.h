// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/history_exception.h"
#include "storage/history_types.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace velmora::storage {

class Statement;

/// A connection to a history's file.
///
/// Opening checks that the file is a history of a version that this library knows. The file is not
/// trusted: its triggers and views do not run, its schema cannot call functions with side effects,
/// and lengths are limited.
///
/// \threadsafety external
class Database {
  public:
    /// The format version that is written, and the highest that is read.
    static constexpr int formatVersion = 1;
    /// "VTHi", which marks a database as a history.
    static constexpr int applicationId = 0x56544869;
    /// The most bytes of a text or blob.
    static constexpr int maxLength = 256 * 1024 * 1024;

    /// \param lockTimeout how long an operation waits for other connections
    /// \throws HistoryException
    Database(const std::string& path, HistoryMode mode, std::chrono::milliseconds lockTimeout);
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    const std::string& GetPath() const { return path; }
    Statement Prepare(std::string_view sql) const;
    /// Runs statements that give no rows.
    void Run(const std::string& sql) const;
    /// The number that a statement of one row and column gives; 0 without a row.
    std::int64_t GetNumber(std::string_view sql) const;
    /// Bytes of the pages that are not free.
    std::uint64_t GetUsedBytes() const;
    /// Changes whenever any connection adds or removes a table or a view.
    std::int64_t GetSchemaVersion() const { return GetNumber("PRAGMA schema_version"); }

    /// Throws the error of the operation that has just failed.
    /// \param action what was tried, such as "reading"
    [[noreturn]] void Throw(const std::string& action) const;
    [[noreturn]] void ThrowNotAHistory() const;
    [[noreturn]] void ThrowCorrupt(const std::string& message) const;

  private:
    friend class Transaction;

    void Open(HistoryMode mode);
    void Configure(std::chrono::milliseconds lockTimeout);
    void CheckFormat(HistoryMode mode);
    void CreateFormat();
    bool TryRun(const char* sql) const;

    std::string path;
    sqlite3* handle = nullptr;
};

/// A prepared statement. Parameters and columns count from 0.
///
/// \threadsafety external, as the connection, which must outlive it
class Statement {
  public:
    Statement() = default;
    Statement(const Database& database, sqlite3_stmt* handle)
        : database(&database), handle(handle) {}

    /// \return whether there is a row
    /// \throws HistoryException
    bool Step();
    /// Ends the step, so that the statement can be run again. Parameters stay.
    void Reset();
    /// Runs a statement that gives no rows.
    void Run() {
        Step();
        Reset();
    }

    void Bind(int index, std::int64_t value);
    void Bind(int index, double value);
    void BindNull(int index);
    /// \name The bytes are not copied: they must stay valid until the next `Bind` or `Reset`.
    ///@{
    void BindText(int index, std::string_view text);
    void BindBlob(int index, std::string_view bytes);
    ///@}

    std::int64_t GetInt(int column) const;
    bool IsNull(int column) const;
    /// The bytes of a text or blob, valid until the next step.
    std::string_view GetBytes(int column) const;
    std::string GetText(int column) const { return std::string(GetBytes(column)); }
    sqlite3_stmt* Get() const { return handle.get(); }

  private:
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const;
    };
    void Check(int status) const;

    const Database* database = nullptr;
    std::unique_ptr<sqlite3_stmt, Finalizer> handle;
};

/// A transaction that is rolled back unless it is committed.
///
/// \threadsafety external
class Transaction {
  public:
    enum class Kind : unsigned char { read, write };

    /// \throws HistoryException, such as for a file that another connection is writing
    Transaction(const Database& database, Kind kind);
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    ~Transaction();

    /// \throws HistoryException; nothing of the transaction has happened then
    void Commit();

  private:
    const Database& database;
    bool isOpen = true;
};

}  // namespace velmora::storage
