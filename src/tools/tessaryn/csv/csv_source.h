// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "csv/csv_layout.h"
#include "source/input_stream.h"
#include "source/row_reader.h"
#include "source/sample_source.h"
#include "text/time_zone.h"

#include <istream>
#include <memory>
#include <optional>
#include <streambuf>
#include <string>

namespace velmora::tool {

/// Makes a sample of each row of a table, with the time of the row.
class CsvSource : public SampleSource {
  public:
    /// \param reader reads the rows of the input
    CsvSource(std::unique_ptr<InputStream> input, std::unique_ptr<RowReader> reader,
              CsvOptions options);

    void BeforeWait(std::function<void(const SourceProgress&)> action) override;
    bool Open(core::tessaryn::StreamType& type) override;
    bool Next() override;
    std::int64_t GetTime() const override { return time; }
    void Fill(core::tessaryn::Sample& sample) override;
    std::string_view GetStreamName() const override { return streamName; }
    std::string GetPosition() const override;
    std::vector<std::string> GetUnits() const override;
    std::vector<std::string> GetNotes() const override { return layout.notes; }
    SourceCounts GetCounts() const override { return counts; }

  private:
    /// Why a row is bad, and which of its fields is.
    struct RowFault {
        enum Kind { none, malformed, tooFew, tooMany, missingTime, badTime, badValue } kind = none;
        std::size_t field = 0;
    };

    /// Stream buffer with the binary form of one sample; all rows share its memory.
    class RowBuffer : public std::streambuf {
      public:
        void Begin(std::size_t entries);
        void EndEntry();
        void Rewind();
        std::string bytes;

      private:
        std::size_t tableSize = 0;
        std::size_t written = 0;
    };

    bool ReadFirstRows();
    const CsvRow* NextRow();
    RowFault Convert(const CsvRow& row);
    RowFault ConvertTime(const CsvRow& row);
    std::optional<std::int64_t> ParseTimeCell(std::string_view cell, std::int64_t clock);
    bool AppendElements(const CsvColumn& column, std::string_view text);
    bool AppendOne(const CsvColumn& column, std::string_view text);
    void Reject(const CsvRow& row, const RowFault& fault);
    std::string Describe(const CsvRow& row, const RowFault& fault) const;
    std::string DescribeBadValue(const CsvColumn& column, std::string_view text) const;

    std::unique_ptr<InputStream> input;
    std::unique_ptr<RowReader> reader;
    CsvOptions options;
    std::optional<TimeZone> zone;
    CsvLayout layout;
    std::size_t numEntries = 0;
    /// Rows that were read to infer the layout and are not pushed yet.
    std::vector<CsvRow> firstRows;
    std::size_t nextFirstRow = 0;

    RowBuffer buffer;
    std::istream binary{&buffer};
    std::string number;
    std::string streamName;
    std::int64_t time = 0;
    std::uint64_t rows = 0;
    std::size_t line = 0;
    SourceCounts counts;
};

}  // namespace velmora::tool
