// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "csv/csv_row.h"
#include "tessaryn/base_type.h"
#include "text/time_text.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// The type that the user gives a column: NAME:TYPE[:COUNT].
struct ColumnType {
    std::string name;
    core::tessaryn::BaseType type = core::tessaryn::UnknownType;
    unsigned int count = 1;
};

/// Parses NAME:TYPE[:COUNT]; the name may contain colons.
/// \throws CommandError when it is malformed or there is no such type
ColumnType ParseColumnType(const std::string& text);

struct CsvOptions {
    /// Name of the time column; empty to find it.
    std::string timeColumn;
    std::vector<ColumnType> types;
    bool skipBad = false;
};

/// One column of a table. Each column except that of the time becomes an entry.
struct CsvColumn {
    std::string title;
    std::string entry;  ///< the title, made a name that a rule can spell
    core::tessaryn::BaseType type = core::tessaryn::String;
    unsigned int count = 1;
    bool inferred = true;  ///< whether the type comes from the rows
};

/// Names and types of the columns of a table.
struct CsvLayout {
    std::vector<CsvColumn> columns;
    std::size_t timeColumn = 0;
    /// Unit of the numbers in the time column; absent for ISO 8601 times.
    std::optional<EpochUnit> epoch;
    /// Notes for the user on renamed columns.
    std::vector<std::string> notes;

    /// Parses a field of the time column.
    std::optional<std::int64_t> ParseTime(std::string_view text) const {
        return epoch ? ParseEpochTime(text, *epoch) : ParseIsoTime(text);
    }
};

/// Infers the layout of a table from its header and first rows.
///
/// A column is a `String` when its first value that is not empty is not a number, or when it has no
/// values; `Double` when one of the rows has a number that is not an integer, else `Int64`. Rows
/// with one field more than the header, as R writes them, and a header whose first title is empty
/// begin with a row name: the column "row".
/// \param firstRows the first rows after the header
/// \param file the name of the file, for messages
/// \throws CommandError when two columns would have one entry name, when an option names a column
/// that does not exist, or when no column holds times
CsvLayout MakeCsvLayout(const CsvRow& header, const std::vector<CsvRow>& firstRows,
                        const CsvOptions& options, const std::string& file);

}  // namespace velmora::tool
