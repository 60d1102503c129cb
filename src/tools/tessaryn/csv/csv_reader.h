// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "csv/csv_row.h"
#include "source/line_reader.h"
#include "source/row_reader.h"

#include <csv.h>

#include <cstddef>
#include <exception>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// Reads rows of separated values.
///
/// The separator, comments and a preamble above the header are inferred from the first lines. A
/// quoted field may contain doubled quotes and line breaks. Blanks around a field without quotes
/// and empty lines are ignored. A row is at most 1 MiB long, which bounds the memory.
class CsvReader : public RowReader {
  public:
    /// \param input \ownership observes
    explicit CsvReader(InputStream& input);
    ~CsvReader() override;

    const CsvRow* Next() override;
    const CsvRow& GetHeader() const override { return header; }
    char GetDelimiter() const override { return delimiter; }
    bool HasMoreWithin(std::chrono::milliseconds time) override;

  private:
    static void OnField(void* field, std::size_t length, void* reader) noexcept;
    static void OnRowEnd(int terminator, void* reader) noexcept;

    bool ReadHeader();
    const CsvRow* NextRow();
    bool IsComment(const CsvRow& row) const;
    bool Fill();
    bool IsRowOpen() const;
    bool HasOnlyBlanks(std::string_view line) const;
    void ParseLine(std::string_view text, bool isEnded);
    bool ParseQuoted(std::string_view text);
    void ParseEnd();
    void FinishRow() {
        open = false;
        ++complete;
        if (complete == rows.size()) {
            AddRow();
        }
    }
    void AddRow();
    void EndMalformedRow(const char* fault);
    void StartParser();
    CsvRow& OpenRow();
    void Rethrow();

    LineReader lines;
    csv_parser parser{};
    char delimiter = ',';
    CsvRow header;
    bool hasHeader = false;
    std::size_t rowLine = 1;
    /// Rows of the current line that ended with a carriage return alone.
    std::size_t returns = 0;
    /// A carriage return ended the previous row of this line.
    bool returned = false;
    /// Whether the incomplete row has fields.
    bool open = false;
    bool ended = false;

    /// Rows of the line that was parsed last; the one at `complete` is incomplete.
    std::vector<CsvRow> rows;
    std::size_t next = 0;
    std::size_t complete = 0;
    /// The exception of a callback, which must not pass through the C parser.
    std::exception_ptr failure;
};

}  // namespace velmora::tool
