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
/// Fields may be quoted, with doubled quotes and line breaks inside; blanks around a field that
/// is not quoted, and empty lines, are passed over. Memory is bounded: a row is at most 1 MiB long.
class CsvReader {
  public:
    /// \param input \ownership observes
    explicit CsvReader(InputFile& input);
    CsvReader(const CsvReader&) = delete;
    CsvReader& operator=(const CsvReader&) = delete;
    ~CsvReader();

    /// The next row; waits for it. A malformed one comes with its fault and the fields before it;
    /// reading goes on at the next line.
    /// \return \ownership lends: until the next call; null at the end of the input, or of the run
    const CsvRow* Next();

    /// Whether a row can be had within a moment, or without any waiting.
    bool HasMoreWithin(std::chrono::milliseconds moment);

  private:
    static void OnField(void* field, std::size_t length, void* reader) noexcept;
    static void OnRowEnd(int terminator, void* reader) noexcept;

    bool Fill();
    void PassByteOrderMark();
    void Parse(std::string_view chunk);
    void ParseEnd();
    void FinishRow();
    void Break(const char* fault);
    void StartParser();
    CsvRow& OpenRow();
    void Rethrow();

    InputFile& input;
    csv_parser parser{};
    std::string_view block;
    std::size_t line = 1;
    std::size_t rowLine = 1;
    std::size_t markBytes = 0;
    /// A carriage return ended a row: a line of its own unless a line feed follows.
    bool returned = false;
    /// A malformed row: what is left of its line is passed over.
    bool skipping = false;
    bool ended = false;

    /// Rows of the chunk that was parsed last; the one at `complete` is still being filled.
    std::vector<CsvRow> rows;
    std::size_t next = 0;
    std::size_t complete = 0;
    bool open = false;
    /// What a callback threw: it must not leave through the parser, which is C.
    std::exception_ptr failure;
};

}  // namespace velmora::tool
