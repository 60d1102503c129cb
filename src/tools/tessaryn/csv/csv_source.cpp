// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "csv/csv_source.h"

#include "command_error.h"
#include "terminal/message.h"
#include "text/escaped_text.h"
#include "text/value_parser.h"

#include <cstring>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

// Entries of a stream type.
constexpr std::size_t maxEntries = 65'535;

// Rows and bytes from which the types are inferred.
constexpr std::size_t maxFirstRows = 10'000;
constexpr std::size_t maxFirstBytes = 4UL * 1024 * 1024;

// How long the first rows of a live source may wait for further ones.
constexpr std::chrono::milliseconds maxPause{200};

// Splits a field at ";" or at blanks.
class ElementSplitter {
  public:
    explicit ElementSplitter(std::string_view field) : rest(field) { SkipBlanks(); }

    bool AtEnd() const { return rest.empty() && !separated; }

    std::string_view Next() {
        const std::string_view element = rest.substr(0, rest.find_first_of("; "));
        rest.remove_prefix(element.size());
        SkipBlanks();
        separated = rest.starts_with(';');
        if (separated) {
            rest.remove_prefix(1);
        }
        SkipBlanks();
        return element;
    }

  private:
    void SkipBlanks() { rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size())); }

    std::string_view rest;
    bool separated = false;
};

}  // namespace

void CsvSource::RowBuffer::Begin(std::size_t entries) {
    tableSize = (entries + 1) * sizeof(std::uint32_t);
    bytes.assign(tableSize, '\0');
    written = sizeof(std::uint32_t);
}

void CsvSource::RowBuffer::EndEntry() {
    const auto end = static_cast<std::uint32_t>(bytes.size() - tableSize);
    std::memcpy(bytes.data() + written, &end, sizeof end);
    written += sizeof end;
}

void CsvSource::RowBuffer::Finish() {
    setg(bytes.data(), bytes.data(), bytes.data() + bytes.size());
}

CsvSource::CsvSource(std::unique_ptr<InputFile> input, CsvOptions options)
    : input(std::move(input)), options(std::move(options)), reader(*this->input) {}

void CsvSource::BeforeWait(std::function<void(const SourceProgress&)> action) {
    input->BeforeRead([this, action = std::move(action)] {
        action({input->GetPosition(), input->GetSize()});
    });
}

bool CsvSource::Open(tsn::StreamType& type) {
    if (!ReadFirstRows()) {
        return false;
    }
    layout = MakeCsvLayout(header, firstRows, options, input->GetName());
    if (layout.columns.size() - 1 > maxEntries) {
        throw CommandError(input->GetName() + ":" + std::to_string(header.line) + ": " +
                           Counted(layout.columns.size(), "column") + ", allowed are " +
                           std::to_string(maxEntries + 1));
    }
    for (std::size_t i = 0; i < layout.columns.size(); ++i) {
        const CsvColumn& column = layout.columns[i];
        if (i != layout.timeColumn) {
            type.Add(column.entry, column.type, column.type == tsn::String ? 0 : column.count);
        }
    }
    return true;
}

// Reads the header and the first rows; false when the run ended before.
bool CsvSource::ReadFirstRows() {
    const CsvRow* row = reader.Next();
    if (row == nullptr && !input->IsAtEnd()) {
        return false;
    }
    if (row == nullptr) {
        throw CommandError(input->GetName() + ": the input is empty, expected a header");
    }
    header = *row;
    if (header.fault != nullptr) {
        throw CommandError(Describe(header, {RowFault::malformed, header.Size()}));
    }
    std::size_t bytes = 0;
    while (firstRows.size() < maxFirstRows && bytes < maxFirstBytes) {
        if (!firstRows.empty() && !reader.HasMoreWithin(maxPause)) {
            break;
        }
        row = reader.Next();
        if (row == nullptr) {
            break;
        }
        bytes += row->GetLength();
        firstRows.push_back(*row);
    }
    return !firstRows.empty() || input->IsAtEnd();
}

const CsvRow* CsvSource::NextRow() {
    if (nextFirstRow < firstRows.size()) {
        return &firstRows[nextFirstRow++];
    }
    if (!firstRows.empty()) {
        std::vector<CsvRow>().swap(firstRows);
    }
    nextFirstRow = 0;
    return reader.Next();
}

bool CsvSource::PushNext(tsn::Stream& stream) {
    while (const CsvRow* const row = NextRow()) {
        const RowFault fault = Convert(*row);
        if (fault.kind != RowFault::none) {
            Reject(*row, fault);
            continue;
        }
        line = row->line;
        auto sample = std::make_unique<tsn::Sample>(stream.GetStreamType(), Poco::Timestamp(time));
        binary.clear();
        sample->Deserialize(binary);
        stream.PushNew(sample.release());
        return true;
    }
    return false;
}

std::string CsvSource::GetPosition() const {
    return input->GetName() + ":" + std::to_string(line);
}

// Writes a row into the buffer, unless it is bad.
CsvSource::RowFault CsvSource::Convert(const CsvRow& row) {
    if (row.fault != nullptr) {
        return {RowFault::malformed, row.Size()};
    }
    const std::size_t wanted = layout.columns.size();
    if (row.Size() < wanted) {
        return {RowFault::tooFew, row.Size()};
    }
    if (row.Size() > wanted) {
        return {RowFault::tooMany, wanted};
    }
    const std::optional<std::int64_t> rowTime = layout.ParseTime(row[layout.timeColumn]);
    if (!rowTime) {
        return {RowFault::badTime, layout.timeColumn};
    }
    time = *rowTime;
    buffer.Begin(wanted - 1);
    for (std::size_t i = 0; i < wanted; ++i) {
        if (i == layout.timeColumn) {
            continue;
        }
        if (!AppendElements(layout.columns[i], row[i])) {
            return {RowFault::badValue, i};
        }
        buffer.EndEntry();
    }
    buffer.Finish();
    return {};
}

bool CsvSource::AppendElements(const CsvColumn& column, std::string_view text) {
    if (column.count == 1) {
        return AppendElement(column.type, text, buffer.bytes);
    }
    ElementSplitter elements(text);
    unsigned int count = 0;
    for (; !elements.AtEnd() && count < column.count; ++count) {
        if (!AppendElement(column.type, elements.Next(), buffer.bytes)) {
            return false;
        }
    }
    return elements.AtEnd() && count == column.count;
}

void CsvSource::Reject(const CsvRow& row, const RowFault& fault) {
    if (!options.skipBad) {
        throw CommandError(Describe(row, fault));
    }
    if (skipped++ == 0) {
        firstSkipped = Describe(row, fault);
    }
}

std::string CsvSource::Describe(const CsvRow& row, const RowFault& fault) const {
    std::string text =
        input->GetName() + ":" + std::to_string(row.line) + ":" + std::to_string(fault.field + 1);
    if (fault.field < layout.columns.size()) {
        text += " (" + layout.columns[fault.field].title + ")";
    }
    text += ": ";
    switch (fault.kind) {
        case RowFault::none:
            break;
        case RowFault::malformed:
            text += row.fault;
            break;
        case RowFault::tooFew:
        case RowFault::tooMany:
            text += Counted(row.Size(), "field") + ", expected " +
                    std::to_string(layout.columns.size());
            break;
        case RowFault::badTime:
            text += Quoted(row[fault.field]) + " is not a timestamp";
            break;
        case RowFault::badValue:
            text += DescribeBadValue(layout.columns[fault.field], row[fault.field]);
            break;
    }
    return text;
}

std::string CsvSource::DescribeBadValue(const CsvColumn& column, std::string_view text) const {
    if (column.count == 1) {
        std::string message = Quoted(text) + " " + DescribeParseError(column.type, text);
        if (column.inferred && GuessType(text) == tsn::Double) {
            message += "; --type '" + column.title + ":Double' reads such numbers";
        } else if (column.inferred) {
            message += "; --type '" + column.title + ":String' reads texts";
        }
        return message;
    }
    std::size_t count = 0;
    for (ElementSplitter elements(text); !elements.AtEnd(); ++count) {
        const std::string_view element = elements.Next();
        std::string ignored;
        if (!AppendElement(column.type, element, ignored)) {
            return Quoted(element) + " " + DescribeParseError(column.type, element);
        }
    }
    return Counted(count, "element") + ", expected " + std::to_string(column.count);
}

}  // namespace velmora::tool
