// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "csv/csv_row.h"

#include <chrono>
#include <cstddef>

namespace velmora::tool {

/// Reads the rows of a table whose cells are texts.
class RowReader {
  public:
    RowReader() = default;
    RowReader(const RowReader&) = delete;
    RowReader& operator=(const RowReader&) = delete;
    virtual ~RowReader() = default;

    /// The next row; waits for it. A malformed row has a fault and the fields before it; reading
    /// continues at the next line.
    /// \return \ownership lends: until the next call; null at the end of the input, or of the run
    virtual const CsvRow* Next() = 0;

    /// The titles of the columns, known once the first row was read. If rows name their cells,
    /// further columns are appended with the rows that have them.
    virtual const CsvRow& GetHeader() const = 0;

    /// Whether rows name their cells, so that a row may lack some.
    virtual bool AreRowsSparse() const { return false; }

    /// Whether the program itself wrote the rows: "stream" names the stream of each, "rule" the
    /// rule that selected it, and "units." with an entry's name its unit.
    virtual bool IsOwnOutput() const { return false; }

    /// Whether a cell of the column had several elements.
    virtual bool IsArray(std::size_t /*column*/) const { return false; }

    /// The separator of the cells.
    virtual char GetDelimiter() const { return ','; }

    /// Whether more input arrives within a time; rows that were read already count.
    virtual bool HasMoreWithin(std::chrono::milliseconds time) = 0;
};

}  // namespace velmora::tool
