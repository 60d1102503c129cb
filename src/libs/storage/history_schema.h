// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/history_types.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// The names and statements of a history's tables and views; docs/history_format.md has the layout.

namespace velmora::storage {

struct SchemaTable {
    const char* name;
    const char* sql;
};

/// The catalogue's tables, with the statements that create them, to the byte.
inline constexpr std::array<SchemaTable, 3> catalogueTables = {{
    {"velmora_stream",
     "CREATE TABLE velmora_stream(id INTEGER PRIMARY KEY, path TEXT NOT NULL UNIQUE,"
     " view TEXT NOT NULL, text TEXT NOT NULL)"},
    {"velmora_layout",
     "CREATE TABLE velmora_layout(id INTEGER PRIMARY KEY, stream INTEGER NOT NULL,"
     " type TEXT NOT NULL, version TEXT NOT NULL, row_count INTEGER NOT NULL, newest_us INTEGER,"
     " in_order INTEGER NOT NULL)"},
    {"velmora_entry",
     "CREATE TABLE velmora_entry(layout INTEGER NOT NULL, id INTEGER NOT NULL, name TEXT NOT NULL,"
     " type TEXT NOT NULL, size INTEGER NOT NULL, column_name TEXT NOT NULL, unit TEXT NOT NULL,"
     " text TEXT NOT NULL, PRIMARY KEY(layout, id)) WITHOUT ROWID"},
}};

/// How an entry's elements are kept in its column.
enum class CellForm : unsigned char {
    number,  ///< a number, if there is one element; otherwise a JSON array
    array,   ///< a JSON array
    text     ///< a text, or a blob where the bytes are no text
};

CellForm FormOf(core::tessaryn::BaseType type, unsigned int initialSize);

/// Whether the bytes can be a text in SQLite: well-formed UTF-8 without zero bytes.
bool IsText(std::string_view bytes);
/// A name in double quotes, for SQL.
std::string QuoteName(std::string_view name);
/// A set of names, compared like in SQLite: ASCII letters regardless of case.
class NameSet {
  public:
    /// \return whether it was new
    bool Add(std::string_view name);
    /// Adds a name that SQLite accepts, derived from the wanted one and not in the set yet.
    std::string AddUnique(std::string_view wanted);

  private:
    std::set<std::string> folded;
};

/// The names of the columns of a layout's entries.
std::vector<std::string> ColumnNames(const std::vector<std::string>& entryNames);

std::string RowTable(std::int64_t layout);
std::string CreateRowTable(const HistoryLayout& layout);
std::string CreateTimeIndex(const HistoryLayout& layout);
/// The columns of all entries, each with a comma before it.
std::string EntryColumns(const HistoryLayout& layout);
/// \param layouts of one stream, the oldest first
std::string CreateView(const std::string& view, const std::vector<const HistoryLayout*>& layouts);

}  // namespace velmora::storage
