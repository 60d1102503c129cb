// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

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

/// Reads rows of JSON lines: one object a line, whose members are the cells.
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

    std::size_t FindColumn(std::string_view name);
    bool IsExpected(std::string_view name) const;
    void DescribeFault(const rapidjson::ParseResult& result);

    LineReader lines;
    std::unique_ptr<Handler> handler;
    /// The line as it is, and as the parser changes it in place; there, arrays that were made one
    /// cell follow.
    std::string_view original;
    std::string text;
    /// Why a line is not read; null for none.
    const char* fault = nullptr;
    std::string faultText;
    bool isOwnOutput = false;
    CsvRow header;
    CsvRow row;
    std::vector<Column> columns;
    std::vector<std::string> names;
    std::unordered_map<std::string, std::size_t> places;
    /// Where the next name probably stands, as rows have their members in one order.
    std::size_t expected = 0;
};

}  // namespace velmora::tool
