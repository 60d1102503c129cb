// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history.h"

#include "storage/history_catalogue.h"
#include "storage/history_database.h"

#include <utility>

namespace velmora::storage {

History::History(const std::string& path, HistoryMode mode, std::chrono::milliseconds lockTimeout)
    : connection(std::make_unique<HistoryConnection>(path, mode, lockTimeout)) {}

History::History(History&& other) noexcept = default;
History& History::operator=(History&& other) noexcept = default;
History::~History() = default;

const std::string& History::GetPath() const {
    return connection->database.GetPath();
}

std::vector<HistoryStream> History::GetStreams() const {
    const Database& database = connection->database;
    Transaction transaction(database, Transaction::Kind::read);
    // Texts may have changed, which no version number shows.
    connection->catalogue.Forget();
    connection->catalogue.Refresh();
    std::vector<HistoryStream> streams;
    Statement count = database.Prepare("SELECT row_count FROM velmora_layout WHERE id = ?");
    for (const auto& [id, stored] : connection->catalogue.GetStreams()) {
        HistoryStream stream = stored.stream;
        for (const auto& known : stored.layouts) {
            HistoryLayout layout = known->Get();
            count.Bind(0, layout.id);
            layout.rowCount = count.Step() ? static_cast<std::uint64_t>(count.GetInt(0)) : 0;
            count.Reset();
            Statement range =
                database.Prepare("SELECT (SELECT min(time_us) FROM " + layout.table +
                                 "), (SELECT max(time_us) FROM " + layout.table + ")");
            if (range.Step() && !range.IsNull(0)) {
                layout.oldest = Poco::Timestamp(range.GetInt(0));
                layout.newest = Poco::Timestamp(range.GetInt(1));
            }
            stream.layouts.push_back(std::move(layout));
        }
        streams.push_back(std::move(stream));
    }
    transaction.Commit();
    return streams;
}

std::uint64_t History::GetUsedBytes() const {
    return connection->database.GetUsedBytes();
}

void History::SetText(const std::string& path, const std::string& text) {
    connection->catalogue.SetText(path, text);
}

void History::SetEntryText(const std::string& path, const std::string& entry,
                           const std::string& unit, const std::string& text) {
    connection->catalogue.SetEntryText(path, entry, unit, text);
}

void History::CheckIntegrity() const {
    Statement check = connection->database.Prepare("PRAGMA integrity_check(1)");
    if (!check.Step() || check.GetBytes(0) != "ok") {
        connection->database.ThrowCorrupt("the integrity check found: " + check.GetText(0));
    }
}

}  // namespace velmora::storage
