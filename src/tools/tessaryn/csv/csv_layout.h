// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "csv/csv_row.h"
#include "source/row_reader.h"
#include "tessaryn/base_type.h"
#include "text/time_text.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
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

/// The user's options for a table.
struct CsvOptions {
    /// Name of the time column; empty to find it.
    std::string timeColumn;
    std::vector<ColumnType> types;
    /// Types by entry name for columns that may exist, unless `types` has them.
    std::vector<ColumnType> likelyTypes;
    bool skipBad = false;
    /// Called with the mistake of each skipped row; may be empty.
    std::function<void(const std::string&)> onSkipped;
    /// Names of the columns to read beside the time; empty for all.
    std::vector<std::string> columns;
    /// Name of the column whose values name the streams; empty for one stream.
    std::string streamColumn;
    DateOrder dates = DateOrder::yearFirst;
    /// Zone of times that name none; empty for UTC.
    std::string zone;
    /// Time of the first row, if the time column counts seconds from it.
    std::optional<std::int64_t> start;
    /// Interval of rows without a time.
    std::optional<std::chrono::microseconds> interval;
};

/// One column of a table.
struct CsvColumn {
    enum class Role { entry, time, clock, stream, unused };

    std::string title;
    std::string entry;  ///< the title without its unit, made a name that a rule can spell
    std::string unit{};
    Role role = Role::entry;
    core::tessaryn::BaseType type = core::tessaryn::String;
    /// Elements of each value; 0 for any number of them.
    unsigned int count = 1;
    bool inferred = true;  ///< whether the type comes from the rows
};

/// Names, roles and types of the columns of a table.
struct CsvLayout {
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    std::vector<CsvColumn> columns;
    std::size_t timeColumn = none;
    /// The column of times of day, if the time column has only dates.
    std::size_t clockColumn = none;
    std::size_t streamColumn = none;
    /// Unit of the numbers in the time column; absent for times.
    std::optional<EpochUnit> epoch;
    bool hasDecimalComma = false;
    /// Notes for the user on renamed columns.
    std::vector<std::string> notes;
};

/// Whether a cell stands for a missing value: empty, "-", "NA", "N/A", "NaN" or "null", in any
/// case.
bool IsMissingWord(std::string_view cell);
inline bool IsMissingValue(std::string_view cell) {
    // Fast path for numbers, which most cells are.
    constexpr std::size_t maxWordLength = 4;
    const bool isNumber = !cell.empty() && cell.back() >= '0' && cell.back() <= '9';
    return cell.size() <= maxWordLength && !isNumber && IsMissingWord(cell);
}

/// `GuessType` of a cell.
/// \param hasDecimalComma whether a comma may be the decimal point
core::tessaryn::BaseType GuessCellType(std::string_view cell, bool hasDecimalComma);

/// Infers the layout of a table from its header and first rows.
///
/// A column is a `String` when its first value that is not missing is not a number, or when it has
/// no values; `Double` when one of the rows has a number that is not an integer, else `Int64`.
/// Where rows name their cells, a column of true and false is a `Bool`. Rows with one field more
/// than the header, as R writes them, and a header whose first title is empty begin with a row
/// name: the column "row". A title that ends in brackets, such as "p [bar]", has a unit. If the
/// time column has only dates, a column of times of day completes them.
/// \param firstRows the first rows after the header
/// \param file the name of the file, for messages
/// \throws CommandError when two columns would have one entry name, when an option names a column
/// that does not exist, or when no column holds times
CsvLayout MakeCsvLayout(const RowReader& reader, const std::vector<CsvRow>& firstRows,
                        const CsvOptions& options, const std::string& file);

}  // namespace velmora::tool
