// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "transfer/history_reader.h"

namespace velmora::tool {

HistoryFileReader::HistoryFileReader(const std::string& file) : history(file) {
    for (const storage::HistoryStream& stream : history.GetStreams()) {
        for (const storage::HistoryLayout& layout : stream.layouts) {
            if (layout.rowCount == 0 && stream.layouts.size() > 1) {
                continue;
            }
            core::tessaryn::StreamType& type =
                types.emplace_back(layout.typeName, layout.version).Get();
            std::vector<std::string> units;
            for (const storage::HistoryEntry& entry : layout.entries) {
                type.Add(entry.name, entry.type, entry.initialSize);
                units.push_back(entry.unit);
            }
            streams.push_back({stream.path, &type, 0, std::move(units)});
        }
    }
}

void HistoryFileReader::Restrict(const std::string& pattern, std::int64_t since,
                                 std::int64_t until) {
    if (!pattern.empty()) {
        query.streams = pattern;
    }
    if (since != INT64_MIN) {
        query.from = Poco::Timestamp(since);
    }
    if (until != INT64_MAX) {
        query.to = Poco::Timestamp(until - 1);
    }
}

bool HistoryFileReader::Next() {
    if (!reader) {
        reader.emplace(history, query);
    }
    return reader->Next();
}

}  // namespace velmora::tool
