// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "csv/csv_layout.h"
#include "csv/sample_fields.h"
#include "source/input_stream.h"
#include "source/row_reader.h"
#include "source/sample_source.h"
#include "text/time_reader.h"
#include "text/time_zone.h"

#include <cstdint>
#include <cstring>
#include <deque>
#include <istream>
#include <memory>
#include <optional>
#include <streambuf>
#include <string>
#include <string_view>
#include <vector>

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
        /// Starts a sample with a table of the entries' ends.
        void Begin(std::size_t entries);
        template <class T>
        void Put(T value) {
            std::memcpy(Extend(sizeof value), &value, sizeof value);
        }
        void Put(std::string_view bytes) {
            std::memcpy(Extend(bytes.size()), bytes.data(), bytes.size());
        }
        void EndEntry() {
            const auto end = static_cast<std::uint32_t>(size - tableSize);
            std::memcpy(block.data() + written, &end, sizeof end);
            written += sizeof end;
        }
        std::string_view GetBytes() const { return {block.data(), size}; }
        /// Prepares the written bytes for reading.
        void Rewind() { setg(block.data(), block.data(), block.data() + size); }

      protected:
        std::streamsize xsgetn(char* to, std::streamsize count) override;

      private:
        char* Extend(std::size_t bytes) {
            if (size + bytes > block.size()) {
                block.resize(2 * (size + bytes));
            }
            size += bytes;
            return block.data() + (size - bytes);
        }

        std::vector<char> block;
        std::size_t size = 0;
        std::size_t tableSize = 0;
        /// Bytes of the table.
        std::size_t written = 0;
    };

    bool ReadFirstRows();
    const CsvRow* NextRow();
    void PlanEntries();
    RowFault Convert(const CsvRow& row);
    RowFault ConvertPlain(const CsvRow& row);
    RowFault ConvertElements(const CsvRow& row);
    bool ReadPlain(const CsvColumn& column, std::string_view cell, PlainValue& value);
    void PutValues();
    RowFault ConvertTime(const CsvRow& row);
    std::optional<std::int64_t> ParseTimeCell(std::string_view cell, std::int64_t clock);
    bool AppendElements(const CsvColumn& column, std::string_view text);
    bool AppendOne(const CsvColumn& column, std::string_view text);
    bool ParseElement(const CsvColumn& column, std::string_view text);
    void Reject(const CsvRow& row, const RowFault& fault);
    std::string Describe(const CsvRow& row, const RowFault& fault) const;
    std::string DescribeBadValue(const CsvColumn& column, std::string_view text) const;

    std::unique_ptr<InputStream> input;
    std::unique_ptr<RowReader> reader;
    CsvOptions options;
    TimeReader times;
    std::optional<TimeZone> zone;
    CsvLayout layout;
    /// Places of the columns that are entries.
    std::vector<std::size_t> entryColumns;
    /// Rows that were read to infer the layout and are not pushed yet.
    std::vector<CsvRow> firstRows;
    /// What is wrong with them, which the reader keeps for its last row only.
    std::deque<std::string> firstFaults;
    std::size_t nextFirstRow = 0;

    /// Whether each entry is one decimal, integer or text: then a row becomes `values`, and only
    /// where these don't fit a sample the binary form in `buffer`.
    bool isPlain = false;
    std::vector<PlainValue> values;
    SampleFields fields;
    RowBuffer buffer;
    std::istream binary{&buffer};
    std::string number;
    std::string elementBytes;
    std::string streamName;
    std::int64_t time = 0;
    std::uint64_t rows = 0;
    std::size_t line = 0;
    SourceCounts counts;
};

}  // namespace velmora::tool
