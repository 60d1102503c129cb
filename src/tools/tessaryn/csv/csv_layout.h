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

/// What the user says of one column: NAME:TYPE[:COUNT].
struct ColumnType {
    std::string name;
    core::tessaryn::BaseType type = core::tessaryn::UnknownType;
    unsigned int count = 1;
};

/// Reads NAME:TYPE[:COUNT]; the name may hold colons.
/// \throws CommandError when it is malformed or names no type
ColumnType ParseColumnType(const std::string& text);

struct CsvOptions {
    std::string path;
    /// The time column's name; empty to find it.
    std::string timeColumn;
    std::vector<ColumnType> types;
    bool skipBad = false;
};

/// One column of a table; every one but the time column becomes an entry.
struct CsvColumn {
    std::string title;  ///< as in the header
    std::string entry;  ///< the title made fit for rules
    core::tessaryn::BaseType type = core::tessaryn::String;
    unsigned int count = 1;
    bool inferred = true;  ///< the type was told from the rows
};

/// What the columns of a table hold, told from the header and the first rows.
struct CsvLayout {
    std::vector<CsvColumn> columns;
    std::size_t timeColumn = 0;
    /// How the time column counts; ISO 8601 when absent.
    std::optional<EpochUnit> epoch;
    /// What the user may want to know of renamed columns.
    std::vector<std::string> notes;

    /// A time as the time column holds it.
    std::optional<std::int64_t> ParseTime(std::string_view text) const {
        return epoch ? ParseEpochTime(text, *epoch) : ParseIsoTime(text);
    }
};

/// Tells the layout of a table.
///
/// A column is text when its first value that isn't empty is no number, or when it has no value;
/// it is decimal when one of the rows ahead has a decimal, else whole. Rows with one field more
/// than the header, as R writes them, and a header whose first title is empty have the row's name
/// first: the column "row".
/// \param header the titles
/// \param ahead the first rows of data
/// \param options what the user says
/// \param file the file's name for messages
/// \throws CommandError when the titles do not make distinct entries, when an option names no
/// column, or when no column holds a time
CsvLayout MakeCsvLayout(const CsvRow& header, const std::vector<CsvRow>& ahead,
                        const CsvOptions& options, const std::string& file);

}  // namespace velmora::tool
