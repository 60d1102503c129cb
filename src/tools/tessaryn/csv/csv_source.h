// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "csv/csv_layout.h"
#include "csv/csv_reader.h"
#include "source/sample_source.h"
#include "terminal/input_file.h"

#include <istream>
#include <memory>
#include <streambuf>

namespace velmora::tool {

/// Makes a sample of each row of comma-separated values, with the time of the row.
class CsvSource : public SampleSource {
  public:
    CsvSource(std::unique_ptr<InputFile> input, CsvOptions options);

    void BeforeWait(std::function<void(const SourceProgress&)> action) override;
    bool Open(core::tessaryn::StreamType& type) override;
    bool PushNext(core::tessaryn::Stream& stream) override;
    std::string GetPosition() const override;
    std::vector<std::string> GetNotes() const override { return layout.notes; }
    std::uint64_t GetSkipped() const override { return skipped; }
    std::string GetFirstSkipped() const override { return firstSkipped; }

  private:
    /// Why a row is bad, and which of its fields is.
    struct RowFault {
        enum Kind { none, malformed, tooFew, tooMany, badTime, badValue } kind = none;
        std::size_t field = 0;
    };

    /// Stream buffer with the binary form of one sample; all rows share its memory.
    class RowBuffer : public std::streambuf {
      public:
        void Begin(std::size_t entries);
        void EndEntry();
        void Finish();
        std::string bytes;

      private:
        std::size_t tableSize = 0;
        std::size_t written = 0;
    };

    bool ReadFirstRows();
    const CsvRow* NextRow();
    RowFault Convert(const CsvRow& row);
    bool AppendElements(const CsvColumn& column, std::string_view text);
    void Reject(const CsvRow& row, const RowFault& fault);
    std::string Describe(const CsvRow& row, const RowFault& fault) const;
    std::string DescribeBadValue(const CsvColumn& column, std::string_view text) const;

    std::unique_ptr<InputFile> input;
    CsvOptions options;
    CsvReader reader;
    CsvLayout layout;
    CsvRow header;
    /// Rows that were read to infer the layout and are not pushed yet.
    std::vector<CsvRow> firstRows;
    std::size_t nextFirstRow = 0;

    RowBuffer buffer;
    std::istream binary{&buffer};
    std::int64_t time = 0;
    std::size_t line = 0;
    std::uint64_t skipped = 0;
    std::string firstSkipped;
};

}  // namespace velmora::tool
