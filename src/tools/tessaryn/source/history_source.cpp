// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "source/history_source.h"

#include "transfer/copy_entry.h"

#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

storage::HistoryQuery QueryFor(const storage::HistoryStream& stream) {
    storage::HistoryQuery query;
    query.streams = stream.path;
    return query;
}

}  // namespace

bool IsDatabase(const std::string& path) {
    // Opening a pipe would wait for its writer.
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) {
        return false;
    }
    constexpr std::string_view magic("SQLite format 3\0", 16);
    if (path.ends_with(".db")) {
        return true;
    }
    std::string begin(magic.size(), ' ');
    std::ifstream in(path, std::ios::binary);
    return in.read(begin.data(), static_cast<std::streamsize>(begin.size())) && begin == magic;
}

HistorySource::HistorySource(std::shared_ptr<const storage::History> history,
                             const storage::HistoryStream& stream, std::string name)
    : history(std::move(history)),
      reader(*this->history, QueryFor(stream)),
      entries(stream.layouts.back().entries),
      name(std::move(name)) {}

bool HistorySource::Open(tsn::StreamType& type) {
    for (const storage::HistoryEntry& entry : entries) {
        type.Add(entry.name, entry.type, entry.initialSize);
    }
    return true;
}

bool HistorySource::Next() {
    ++rows;
    return reader.Next();
}

void HistorySource::Fill(tsn::Sample& sample) {
    CopyEntries(reader.GetSample(), sample);
}

std::vector<std::string> HistorySource::GetUnits() const {
    std::vector<std::string> units;
    for (const storage::HistoryEntry& entry : entries) {
        units.push_back(entry.unit);
    }
    return units;
}

}  // namespace velmora::tool
