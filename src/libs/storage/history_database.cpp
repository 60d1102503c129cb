// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_database.h"

#include "storage/history_schema.h"

#include <cerrno>
#include <filesystem>
#include <limits>
#include <sqlite3.h>
#include <sys/resource.h>
#include <system_error>

namespace velmora::storage {

namespace {

using Reason = HistoryException::Reason;

// SQLite reports a write beyond the limit of the file's size as a general I/O error.
bool HasFileSizeLimit() {
    rlimit limit{};
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

Reason ReasonOf(int extendedStatus, int systemError) {
    if (systemError == ENOSPC || systemError == EFBIG || systemError == EDQUOT ||
        (extendedStatus == SQLITE_IOERR_WRITE && HasFileSizeLimit())) {
        return Reason::full;
    }
    switch (extendedStatus & 0xFF) {
        case SQLITE_FULL:
            return Reason::full;
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
            return Reason::locked;
        case SQLITE_READONLY:
        case SQLITE_PERM:
            return Reason::readOnly;
        case SQLITE_CANTOPEN:
            return Reason::notFound;
        case SQLITE_NOTADB:
            return Reason::notAHistory;
        case SQLITE_CORRUPT:
        case SQLITE_ERROR:  // the schema lacks what the catalogue lists
        case SQLITE_TOOBIG:
        case SQLITE_CONSTRAINT:
        case SQLITE_MISMATCH:
            return Reason::corrupt;
        default:
            return Reason::failed;
    }
}

// A file URI in which special characters of the path are escaped.
std::string ImmutableUri(const std::string& path) {
    std::string uri = "file:";
    for (const char character : path) {
        constexpr const char* digits = "0123456789ABCDEF";
        if (character == '%' || character == '?' || character == '#') {
            const auto code = static_cast<unsigned char>(character);
            uri += '%';
            uri += digits[code >> 4U];
            uri += digits[code & 15U];
        } else {
            uri += character;
        }
    }
    return uri + "?mode=ro&immutable=1";
}

}  // namespace

Database::Database(const std::string& path, HistoryMode mode, std::chrono::milliseconds lockTimeout)
    : path(path) {
    try {
        Open(mode);
        Configure(lockTimeout);
        CheckFormat(mode);
    } catch (...) {
        sqlite3_close_v2(handle);
        throw;
    }
}

Database::~Database() {
    sqlite3_close_v2(handle);
}

void Database::Open(HistoryMode mode) {
    int flags = SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    flags |= mode == HistoryMode::read ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    flags |= mode == HistoryMode::create ? SQLITE_OPEN_CREATE : 0;
    // The prefix keeps SQLite from taking "file:..." for a URI and ":memory:" for a database in
    // memory.
    const std::string plain = std::filesystem::path(path).is_relative() ? "./" + path : path;
    if (path.empty() || sqlite3_open_v2(plain.c_str(), &handle, flags, nullptr) != SQLITE_OK) {
        Throw("opening");
    }
    if (mode != HistoryMode::read || TryRun("SELECT 1 FROM sqlite_schema")) {
        return;
    }
    // Reading needs the files of the write-ahead log, which cannot be created in a read-only
    // folder. Without a log nobody is writing, and the file can be read by itself.
    std::error_code ignored;
    const bool hasLog = std::filesystem::exists(plain + "-wal", ignored);
    const int status = sqlite3_errcode(handle) & 0xFF;
    if ((status != SQLITE_CANTOPEN && status != SQLITE_READONLY) || hasLog) {
        return;
    }
    sqlite3_close_v2(handle);
    handle = nullptr;
    if (sqlite3_open_v2(ImmutableUri(plain).c_str(), &handle, flags | SQLITE_OPEN_URI, nullptr) !=
        SQLITE_OK) {
        Throw("opening");
    }
}

void Database::Configure(std::chrono::milliseconds lockTimeout) {
    sqlite3_busy_timeout(handle, static_cast<int>(lockTimeout.count()));
    for (const auto& [option, value] :
         {std::pair(SQLITE_DBCONFIG_DEFENSIVE, 1), std::pair(SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0),
          std::pair(SQLITE_DBCONFIG_ENABLE_TRIGGER, 0), std::pair(SQLITE_DBCONFIG_ENABLE_VIEW, 0),
          std::pair(SQLITE_DBCONFIG_DQS_DDL, 0), std::pair(SQLITE_DBCONFIG_DQS_DML, 0)}) {
        sqlite3_db_config(handle, option, value, nullptr);
    }
    sqlite3_limit(handle, SQLITE_LIMIT_LENGTH, maxLength);
    sqlite3_limit(handle, SQLITE_LIMIT_ATTACHED, 0);
    sqlite3_limit(handle, SQLITE_LIMIT_TRIGGER_DEPTH, 1);
    Run("PRAGMA cell_size_check=ON; PRAGMA mmap_size=0; PRAGMA synchronous=NORMAL");
}

void Database::CheckFormat(HistoryMode mode) {
    const std::int64_t id = GetNumber("PRAGMA application_id");
    if (mode == HistoryMode::create && id == 0 &&
        GetNumber("SELECT count(*) FROM sqlite_schema") == 0) {
        CreateFormat();
    } else if (id != applicationId) {
        ThrowNotAHistory();
    }
    const std::int64_t version = GetNumber("PRAGMA user_version");
    if (version > formatVersion) {
        throw HistoryException(Reason::laterVersion, path,
                               "its format version is " + std::to_string(version) +
                                   ", this library knows versions up to " +
                                   std::to_string(formatVersion) + ".");
    }
    if (version < 1) {
        ThrowCorrupt("its format version is " + std::to_string(version) + ".");
    }
}

void Database::CreateFormat() {
    Run("PRAGMA journal_mode=WAL");
    Transaction transaction(*this, Transaction::Kind::write);
    // Another process may have created the tables meanwhile.
    if (GetNumber("PRAGMA application_id") == 0) {
        for (const SchemaTable& table : catalogueTables) {
            Run(table.sql);
        }
        Run("PRAGMA application_id=" + std::to_string(applicationId));
        Run("PRAGMA user_version=" + std::to_string(formatVersion));
    }
    transaction.Commit();
}

bool Database::TryRun(const char* sql) const {
    return sqlite3_exec(handle, sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

Statement Database::Prepare(std::string_view sql) const {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v3(handle, sql.data(), static_cast<int>(sql.size()),
                           SQLITE_PREPARE_PERSISTENT, &prepared, nullptr) != SQLITE_OK) {
        Throw("preparing a statement");
    }
    return {*this, prepared};
}

void Database::Run(const std::string& sql) const {
    if (!TryRun(sql.c_str())) {
        Throw("running a statement");
    }
}

std::int64_t Database::GetNumber(std::string_view sql) const {
    Statement statement = Prepare(sql);
    return statement.Step() ? statement.GetInt(0) : 0;
}

std::uint64_t Database::GetUsedBytes() const {
    return static_cast<std::uint64_t>(
        (GetNumber("PRAGMA page_count") - GetNumber("PRAGMA freelist_count")) *
        GetNumber("PRAGMA page_size"));
}

void Database::Throw(const std::string& action) const {
    if (handle == nullptr) {
        throw HistoryException(Reason::notFound, path, "it cannot be opened.");
    }
    const int status = sqlite3_extended_errcode(handle);
    if ((status & 0xFF) == SQLITE_NOMEM) {
        throw std::bad_alloc();
    }
    const bool hasSystemError =
        (status & 0xFF) == SQLITE_IOERR || (status & 0xFF) == SQLITE_CANTOPEN;
    const int systemError = hasSystemError ? sqlite3_system_errno(handle) : 0;
    const Reason reason = ReasonOf(status, systemError);
    if (reason == Reason::notAHistory) {
        ThrowNotAHistory();
    }
    std::string message = action + " failed: " + sqlite3_errmsg(handle);
    if (systemError != 0) {
        message += " (" + std::generic_category().message(systemError) + ")";
    }
    throw HistoryException(reason, path, message + ".");
}

void Database::ThrowNotAHistory() const {
    throw HistoryException(Reason::notAHistory, path, "the file is not a history.");
}

void Database::ThrowCorrupt(const std::string& message) const {
    throw HistoryException(Reason::corrupt, path, message);
}

void Statement::Finalizer::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

bool Statement::Step() {
    const int status = sqlite3_step(handle.get());
    if (status != SQLITE_ROW && status != SQLITE_DONE) {
        try {
            database->Throw("running a statement");
        } catch (...) {
            Reset();
            throw;
        }
    }
    return status == SQLITE_ROW;
}

void Statement::Reset() {
    sqlite3_reset(handle.get());
}

void Statement::Check(int status) const {
    if (status != SQLITE_OK) {
        database->Throw("binding a value");
    }
}

void Statement::Bind(int index, std::int64_t value) {
    Check(sqlite3_bind_int64(handle.get(), index + 1, value));
}

void Statement::Bind(int index, double value) {
    Check(sqlite3_bind_double(handle.get(), index + 1, value));
}

void Statement::BindNull(int index) {
    Check(sqlite3_bind_null(handle.get(), index + 1));
}

void Statement::BindText(int index, std::string_view text) {
    // SQLite would store a null pointer as NULL.
    const char* const data = text.empty() ? "" : text.data();
    Check(sqlite3_bind_text64(handle.get(), index + 1, data, text.size(), SQLITE_STATIC,
                              SQLITE_UTF8));
}

void Statement::BindBlob(int index, std::string_view bytes) {
    const char* const data = bytes.empty() ? "" : bytes.data();
    Check(sqlite3_bind_blob64(handle.get(), index + 1, data, bytes.size(), SQLITE_STATIC));
}

std::int64_t Statement::GetInt(int column) const {
    return sqlite3_column_int64(handle.get(), column);
}

bool Statement::IsNull(int column) const {
    return sqlite3_column_type(handle.get(), column) == SQLITE_NULL;
}

std::string_view Statement::GetBytes(int column) const {
    const void* const data = sqlite3_column_blob(handle.get(), column);
    const int size = sqlite3_column_bytes(handle.get(), column);
    return data == nullptr
               ? std::string_view()
               : std::string_view(static_cast<const char*>(data), static_cast<std::size_t>(size));
}

Transaction::Transaction(const Database& database, Kind kind) : database(database) {
    database.Run(kind == Kind::write ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
    // Some errors roll the transaction back themselves.
    if (isOpen && sqlite3_get_autocommit(database.handle) == 0) {
        database.TryRun("ROLLBACK");
    }
}

void Transaction::Commit() {
    database.Run("COMMIT");
    isOpen = false;
}

}  // namespace velmora::storage
