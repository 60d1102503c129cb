// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "csv/csv_row.h"
#include "terminal/input_file.h"

#include <csv.h>

#include <cstddef>
#include <exception>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// Reads rows of comma-separated values.
///
/// A quoted field may contain doubled quotes and line breaks. Blanks around a field without quotes
/// and empty lines are ignored. A row is at most 1 MiB long, which bounds the memory.
class CsvReader {
  public:
    /// \param input \ownership observes
    explicit CsvReader(InputFile& input);
    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;
    ~CsvReader();

    /// The next row; waits for it. A malformed row has a fault and the fields before it; reading
    /// continues at the next line.
    /// \return \ownership lends: until the next call; null at the end of the input, or of the run
    const CsvRow* Next();

    /// Whether more input arrives within a time; rows that were read already count.
    bool HasMoreWithin(std::chrono::milliseconds time);

  private:
    static void OnField(void* field, std::size_t length, void* reader) noexcept;
    static void OnRowEnd(int terminator, void* reader) noexcept;

    bool Fill();
    void SkipByteOrderMark();
    void Parse(std::string_view chunk);
    void ParseEnd();
    void FinishRow();
    void EndMalformedRow(const char* fault);
    void StartParser();
    CsvRow& OpenRow();
    void Rethrow();

    InputFile& input;
    csv_parser parser{};
    std::string_view block;
    std::size_t line = 1;
    std::size_t rowLine = 1;
    std::size_t markBytes = 0;
    /// A carriage return ended the previous row; a line feed may follow.
    bool returned = false;
    /// The rest of a malformed row's line is being skipped.
    bool skipping = false;
    bool ended = false;

    /// Rows of the chunk that was parsed last; the one at `complete` is incomplete.
    std::vector<CsvRow> rows;
    std::size_t next = 0;
    std::size_t complete = 0;
    bool open = false;
    /// What a callback threw; exceptions must not pass through the C parser.
    std::exception_ptr failure;
};

}  // namespace velmora::tool
