// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_schema.h"

#include <Poco/Ascii.h>

#include <algorithm>
#include <map>
#include <utf8.h>

namespace velmora::storage {

using core::tessaryn::BaseType;

namespace {

constexpr std::size_t maxNameLength = 200;
// Terms of a view's compound SELECT; SQLite's own limit is 500.
constexpr std::size_t maxViewTables = 100;
constexpr std::size_t maxViewColumns = 1900;

std::string Folded(std::string_view name) {
    std::string folded(name);
    std::transform(folded.begin(), folded.end(), folded.begin(), [](char letter) {
        return static_cast<char>(Poco::Ascii::toLower(static_cast<unsigned char>(letter)));
    });
    return folded;
}

// The name as UTF-8 without zero bytes, cut to the maximum length.
std::string Readable(std::string_view name) {
    std::string readable(name);
    std::replace(readable.begin(), readable.end(), '\0', '?');
    auto bad = utf8::find_invalid(readable.begin(), readable.end());
    for (; bad != readable.end(); bad = utf8::find_invalid(bad, readable.end())) {
        *bad = '?';
    }
    if (readable.size() > maxNameLength) {
        std::size_t end = maxNameLength;
        while ((static_cast<unsigned char>(readable[end]) & 0xC0U) == 0x80U) {
            --end;
        }
        readable.resize(end);
    }
    return readable;
}

const char* DeclaredType(const HistoryEntry& entry) {
    switch (FormOf(entry.type, entry.initialSize)) {
        case CellForm::array:
        case CellForm::text:
            return "TEXT";
        case CellForm::number:
            break;
    }
    if (entry.type == core::tessaryn::Float || entry.type == core::tessaryn::Double) {
        return "REAL";
    }
    // Numbers above 2^63 - 1 are stored as texts, which an INTEGER column would convert to inexact
    // REALs.
    return entry.type == core::tessaryn::UInt64 ? "" : "INTEGER";
}

// 2026-11-22T05:21:16.000000Z; NULL outside the years 0 to 9999.
const char* const isoTime =
    "strftime('%Y-%m-%dT%H:%M:%S', (time_us - (time_us % 1000000 + 1000000) % 1000000) / 1000000,"
    " 'unixepoch') || printf('.%06dZ', (time_us % 1000000 + 1000000) % 1000000)";

// Whether two entries store their values in the same form, so that a view can show both in one
// column.
bool Agree(const HistoryEntry& entry, const HistoryEntry& other) {
    return FormOf(entry.type, entry.initialSize) == FormOf(other.type, other.initialSize);
}

using ColumnMap = std::map<std::string, const HistoryEntry*>;

ColumnMap ColumnsOf(const HistoryLayout& layout) {
    ColumnMap columns;
    for (const HistoryEntry& entry : layout.entries) {
        columns.emplace(Folded(entry.column), &entry);
    }
    return columns;
}

}  // namespace

CellForm FormOf(BaseType type, unsigned int initialSize) {
    if (type == core::tessaryn::String) {
        return CellForm::text;
    }
    return initialSize == 1 ? CellForm::number : CellForm::array;
}

bool IsText(std::string_view bytes) {
    return bytes.find('\0') == std::string_view::npos && utf8::is_valid(bytes.begin(), bytes.end());
}

std::string QuoteName(std::string_view name) {
    std::string quoted = "\"";
    for (const char character : name) {
        quoted.append(character == '"' ? 2U : 1U, character);
    }
    return quoted + '"';
}

bool NameSet::Add(std::string_view name) {
    return folded.insert(Folded(name)).second;
}

std::string NameSet::AddUnique(std::string_view wanted) {
    std::string name = Readable(wanted);
    const std::string lower = Folded(name);
    if (name.empty() || lower.starts_with("sqlite_") || lower.starts_with("velmora_")) {
        name.insert(0, "_");
    }
    std::string unique = name;
    for (int number = 2; !Add(unique); ++number) {
        unique = name + "~" + std::to_string(number);
    }
    return unique;
}

std::vector<std::string> ColumnNames(const std::vector<std::string>& entryNames) {
    NameSet taken;
    for (const char* const own : {"seq", "time", "time_us"}) {
        taken.Add(own);
    }
    std::vector<std::string> columns;
    columns.reserve(entryNames.size());
    for (const std::string& name : entryNames) {
        columns.push_back(taken.AddUnique(name));
    }
    return columns;
}

std::string RowTable(std::int64_t layout) {
    return "velmora_rows_" + std::to_string(layout);
}

std::string CreateRowTable(const HistoryLayout& layout) {
    std::string sql =
        "CREATE TABLE " + layout.table + "(seq INTEGER PRIMARY KEY, time_us INTEGER NOT NULL";
    for (const HistoryEntry& entry : layout.entries) {
        sql += ", " + QuoteName(entry.column);
        const std::string_view declared = DeclaredType(entry);
        if (!declared.empty()) {
            sql.append(" ").append(declared);
        }
    }
    return sql + ")";
}

std::string CreateTimeIndex(const HistoryLayout& layout) {
    return "CREATE INDEX " + layout.table + "_time ON " + layout.table + "(time_us)";
}

std::string EntryColumns(const HistoryLayout& layout) {
    std::string columns;
    for (const HistoryEntry& entry : layout.entries) {
        columns += ", " + QuoteName(entry.column);
    }
    return columns;
}

std::string CreateView(const std::string& view, const std::vector<const HistoryLayout*>& layouts) {
    const std::vector<const HistoryLayout*> shown(
        layouts.end() - static_cast<std::ptrdiff_t>(std::min(layouts.size(), maxViewTables)),
        layouts.end());
    // The newest layout's columns first, then those that only older ones have.
    std::vector<const HistoryEntry*> columns;
    NameSet seen;
    for (auto layout = shown.rbegin(); layout != shown.rend(); ++layout) {
        for (const HistoryEntry& entry : (*layout)->entries) {
            if (columns.size() < maxViewColumns && seen.Add(entry.column)) {
                columns.push_back(&entry);
            }
        }
    }
    std::string sql = "CREATE VIEW " + QuoteName(view) + " AS ";
    for (std::size_t i = 0; i < shown.size(); ++i) {
        sql += i == 0 ? "SELECT " : " UNION ALL SELECT ";
        sql += std::string(isoTime) + " AS time, time_us";
        const ColumnMap own = ColumnsOf(*shown[i]);
        for (const HistoryEntry* const column : columns) {
            const auto found = own.find(Folded(column->column));
            const bool agrees = found != own.end() && Agree(*found->second, *column);
            sql += (agrees ? ", " : ", NULL AS ") + QuoteName(column->column);
        }
        sql += " FROM " + shown[i]->table;
    }
    return sql;
}

}  // namespace velmora::storage
