// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_retention.h"

#include "storage/history_catalogue.h"
#include "storage/history_database.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <string>

namespace velmora::storage {

namespace {

constexpr std::int64_t always = std::numeric_limits<std::int64_t>::max();

std::optional<std::int64_t> OldestTime(const Database& database, const HistoryLayout& layout) {
    Statement oldest = database.Prepare("SELECT min(time_us) FROM " + layout.table);
    if (!oldest.Step() || oldest.IsNull(0)) {
        return {};
    }
    return oldest.GetInt(0);
}

// Deletes the oldest rows of a table that are stamped before a time.
std::uint64_t DeleteOldest(const Database& database, const HistoryLayout& layout,
                           std::int64_t before, std::uint64_t maxRows) {
    Statement remove =
        database.Prepare("DELETE FROM " + layout.table + " WHERE seq IN (SELECT seq FROM " +
                         layout.table + " WHERE time_us < ? ORDER BY time_us, seq LIMIT ?)");
    remove.Bind(0, before);
    remove.Bind(1, static_cast<std::int64_t>(maxRows));
    remove.Run();
    const std::int64_t deleted = database.GetNumber("SELECT changes()");
    Statement count =
        database.Prepare("UPDATE velmora_layout SET row_count = row_count - ? WHERE id = ?");
    count.Bind(0, deleted);
    count.Bind(1, layout.id);
    count.Run();
    return static_cast<std::uint64_t>(deleted);
}

// The layout with the oldest row; null when there is none.
template <class Layouts>
const HistoryLayout* FindOldest(const Database& database, const Layouts& layouts) {
    const HistoryLayout* oldest = nullptr;
    std::int64_t oldestTime = 0;
    for (const auto& layout : layouts) {
        const auto time = OldestTime(database, layout->Get());
        if (time && (oldest == nullptr || *time < oldestTime)) {
            oldest = &layout->Get();
            oldestTime = *time;
        }
    }
    return oldest;
}

std::uint64_t DeleteOld(const Database& database, const Catalogue& catalogue, std::int64_t before,
                        std::uint64_t maxRows) {
    std::uint64_t deleted = 0;
    for (const auto& [id, stream] : catalogue.GetStreams()) {
        for (const auto& layout : stream.layouts) {
            const auto oldest = OldestTime(database, layout->Get());
            if (deleted < maxRows && oldest && *oldest < before) {
                deleted += DeleteOldest(database, layout->Get(), before, maxRows - deleted);
            }
        }
    }
    return deleted;
}

std::uint64_t DeleteRows(const Database& database, const Catalogue& catalogue,
                         std::uint64_t maxOfStream, std::uint64_t maxRows) {
    std::uint64_t deleted = 0;
    Statement counts =
        database.Prepare("SELECT stream, sum(row_count) FROM velmora_layout GROUP BY stream");
    while (deleted < maxRows && counts.Step()) {
        const auto stream = catalogue.GetStreams().find(counts.GetInt(0));
        const auto count = static_cast<std::uint64_t>(counts.GetInt(1));
        if (stream == catalogue.GetStreams().end() || count <= maxOfStream) {
            continue;
        }
        if (const HistoryLayout* const layout = FindOldest(database, stream->second.layouts)) {
            const std::uint64_t surplus = std::min(count - maxOfStream, maxRows - deleted);
            deleted += DeleteOldest(database, *layout, always, surplus);
        }
    }
    return deleted;
}

std::uint64_t DeleteBytes(const Database& database, const Catalogue& catalogue,
                          std::uint64_t maxBytes, std::uint64_t maxRows) {
    if (database.GetUsedBytes() <= maxBytes) {
        return 0;
    }
    std::vector<std::shared_ptr<const StoredLayout>> all;
    for (const auto& [id, stream] : catalogue.GetStreams()) {
        all.insert(all.end(), stream.layouts.begin(), stream.layouts.end());
    }
    const HistoryLayout* const oldest = FindOldest(database, all);
    return oldest == nullptr ? 0 : DeleteOldest(database, *oldest, always, maxRows);
}

}  // namespace

std::uint64_t DeleteSurplus(const Database& database, const Catalogue& catalogue,
                            const HistoryRetention& limits, const Poco::Timestamp& now,
                            std::uint64_t maxRows) {
    std::uint64_t deleted = 0;
    if (limits.maxAge.count() > 0) {
        const std::int64_t before = now.epochMicroseconds() - limits.maxAge.count();
        deleted += DeleteOld(database, catalogue, before, maxRows);
    }
    if (limits.maxRows > 0 && deleted < maxRows) {
        deleted += DeleteRows(database, catalogue, limits.maxRows, maxRows - deleted);
    }
    if (limits.maxBytes > 0 && deleted < maxRows) {
        deleted += DeleteBytes(database, catalogue, limits.maxBytes, maxRows - deleted);
    }
    return deleted;
}

}  // namespace velmora::storage
