// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "source/json_line_forms.h"
#include "source/line_reader.h"
#include "source/row_reader.h"

#include <rapidjson/error/error.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velmora::tool {

/// Reads rows of JSON lines: one object on each line, whose members are the cells.
///
/// Members of an object inside it have the names of both with "." between them; those of "entries"
/// have their own names, so that the program reads what it writes. The elements of an array are
/// separated by ";". null is an empty cell.
class JsonLinesReader : public RowReader {
  public:
    /// \param input \ownership observes
    explicit JsonLinesReader(InputStream& input);
    ~JsonLinesReader() override;

    const CsvRow* Next() override;
    const CsvRow& GetHeader() const override { return header; }
    bool AreRowsSparse() const override { return true; }
    bool IsOwnOutput() const override { return isOwnOutput; }
    bool IsArray(std::size_t column) const override { return columns[column].isArray; }
    bool HasMoreWithin(std::chrono::milliseconds time) override {
        return lines.HasMoreWithin(time);
    }

  private:
    class Handler;

    struct Column {
        /// A part of `text`.
        std::string_view cell;
        bool isArray = false;
    };

    void Parse(const LineReader::Line& line);
    std::size_t FindColumn(std::string_view name);
    bool IsExpected(std::string_view name) const;
    void DescribeFault(const rapidjson::ParseResult& result);

    LineReader lines;
    std::unique_ptr<Handler> handler;
    JsonLineForms forms;
    /// Columns of the values of the line that is parsed.
    std::vector<std::size_t> order;
    /// The original line, and a copy that the parser changes in place; cells made from arrays are
    /// appended to the copy.
    std::string_view original;
    std::string text;
    /// Why a line cannot be read; null if it can.
    const char* fault = nullptr;
    std::string faultText;
    bool isOwnOutput = false;
    CsvRow header;
    CsvRow row;
    std::vector<Column> columns;
    std::vector<std::string> names;
    std::unordered_map<std::string, std::size_t> places;
    /// The expected position of the next name, since rows usually have their members in the same
    /// order.
    std::size_t expected = 0;
};

}  // namespace velmora::tool
