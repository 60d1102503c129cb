// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "csv/csv_source.h"

#include "command_error.h"
#include "terminal/message.h"
#include "text/escaped_text.h"
#include "text/value_parser.h"

#include <bit>
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

// How long a live source waits for further rows before it infers types from the first ones.
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
    size = 0;
    tableSize = (entries + 1) * sizeof(std::uint32_t);
    Extend(tableSize);
    written = 0;
    // The first offset.
    EndEntry();
}

std::streamsize CsvSource::RowBuffer::xsgetn(char* to, std::streamsize count) {
    const std::streamsize got = std::min(count, egptr() - gptr());
    std::memcpy(to, gptr(), static_cast<std::size_t>(got));
    setg(eback(), gptr() + got, egptr());
    return got;
}

CsvSource::CsvSource(std::unique_ptr<InputStream> input, std::unique_ptr<RowReader> reader,
                     CsvOptions options)
    : input(std::move(input)),
      reader(std::move(reader)),
      options(std::move(options)),
      times(this->options.dates) {
    if (!this->options.zone.empty()) {
        zone.emplace(this->options.zone);
    }
}

void CsvSource::BeforeWait(std::function<void(const SourceProgress&)> action) {
    input->BeforeRead([this, action = std::move(action)] {
        action({input->GetPosition(), input->GetSize()});
    });
}

bool CsvSource::Open(tsn::StreamType& type) {
    if (!ReadFirstRows()) {
        return false;
    }
    layout = MakeCsvLayout(*reader, firstRows, options, input->GetName());
    for (std::size_t i = 0; i < layout.columns.size(); ++i) {
        if (layout.columns[i].role == CsvColumn::Role::entry) {
            entryColumns.push_back(i);
        }
    }
    if (entryColumns.size() > maxEntries) {
        throw CommandError(input->GetName() + ":" + std::to_string(reader->GetHeader().line) +
                           ": " + Counted(layout.columns.size(), "column") + ", allowed are " +
                           std::to_string(maxEntries + 1));
    }
    for (const CsvColumn& column : layout.columns) {
        if (column.role == CsvColumn::Role::entry) {
            type.Add(column.entry, column.type, column.type == tsn::String ? 0 : column.count);
        }
    }
    PlanEntries();
    return true;
}

void CsvSource::PlanEntries() {
    for (const std::size_t i : entryColumns) {
        const CsvColumn& column = layout.columns[i];
        PlainValue value;
        if (column.type == tsn::Double) {
            value.kind = PlainValue::Kind::decimal;
        } else if (column.type == tsn::Int64) {
            value.kind = PlainValue::Kind::integer;
        } else if (column.type != tsn::String) {
            return;
        }
        if (column.count != 1) {
            return;
        }
        values.push_back(value);
    }
    isPlain = true;
}

// Reads the header and the first rows; returns false if the run ended before.
bool CsvSource::ReadFirstRows() {
    std::size_t bytes = 0;
    while (firstRows.size() < maxFirstRows && bytes < maxFirstBytes) {
        if (!firstRows.empty() && !reader->HasMoreWithin(maxPause)) {
            break;
        }
        const CsvRow* const row = reader->Next();
        const CsvRow& header = reader->GetHeader();
        if (header.fault != nullptr) {
            throw CommandError(Describe(header, {RowFault::malformed, header.Size()}));
        }
        if (row == nullptr) {
            break;
        }
        if (reader->AreRowsSparse() && row->fault != nullptr && !options.skipBad) {
            throw CommandError(Describe(*row, {RowFault::malformed, row->Size()}));
        }
        bytes += row->GetLength();
        firstRows.push_back(*row);
        if (row->fault != nullptr) {
            firstRows.back().fault = firstFaults.emplace_back(row->fault).c_str();
        }
    }
    if (reader->GetHeader().Size() == 0 && input->IsAtEnd()) {
        throw CommandError(input->GetName() + ": no row was read");
    }
    return !firstRows.empty() || (input->IsAtEnd() && reader->GetHeader().Size() > 0);
}

const CsvRow* CsvSource::NextRow() {
    if (nextFirstRow < firstRows.size()) {
        return &firstRows[nextFirstRow++];
    }
    if (!firstRows.empty()) {
        std::vector<CsvRow>().swap(firstRows);
        firstFaults.clear();
    }
    nextFirstRow = 0;
    return reader->Next();
}

bool CsvSource::Next() {
    while (const CsvRow* const row = NextRow()) {
        const RowFault fault = Convert(*row);
        if (fault.kind == RowFault::none) {
            line = row->line;
            return true;
        }
        if (fault.kind == RowFault::missingTime) {
            ++counts.missingTimes;
        } else {
            Reject(*row, fault);
        }
    }
    return false;
}

void CsvSource::Fill(tsn::Sample& sample) {
    if (isPlain) {
        if (fields.Write(sample, values)) {
            return;
        }
        PutValues();
    }
    buffer.Rewind();
    binary.clear();
    sample.Deserialize(binary);
}

std::string CsvSource::GetPosition() const {
    return input->GetName() + ":" + std::to_string(line);
}

std::vector<std::string> CsvSource::GetUnits() const {
    std::vector<std::string> units;
    for (const CsvColumn& column : layout.columns) {
        if (column.role == CsvColumn::Role::entry) {
            units.push_back(column.unit);
        }
    }
    return units;
}

// Reads the values of a row, unless it is bad.
CsvSource::RowFault CsvSource::Convert(const CsvRow& row) {
    if (row.fault != nullptr) {
        return {RowFault::malformed, row.Size()};
    }
    const std::size_t wanted = layout.columns.size();
    if (row.Size() < wanted && !reader->AreRowsSparse()) {
        return {RowFault::tooFew, row.Size()};
    }
    if (row.Size() > wanted && !reader->AreRowsSparse()) {
        return {RowFault::tooMany, wanted};
    }
    if (const RowFault fault = ConvertTime(row); fault.kind != RowFault::none) {
        return fault;
    }
    if (const RowFault fault = isPlain ? ConvertPlain(row) : ConvertElements(row);
        fault.kind != RowFault::none) {
        return fault;
    }
    if (layout.streamColumn < row.Size()) {
        streamName = row[layout.streamColumn];
    }
    ++rows;
    return {};
}

CsvSource::RowFault CsvSource::ConvertPlain(const CsvRow& row) {
    std::uint64_t missing = 0;
    PlainValue* value = values.data();
    for (const std::size_t i : entryColumns) {
        const std::string_view cell = i < row.Size() ? row[i] : std::string_view();
        double decimal = 0;
        if (value->kind == PlainValue::Kind::text) {
            value->text = cell;
            value->isMissing = cell.empty();
        } else if (value->kind == PlainValue::Kind::decimal && ReadShortNumber(cell, decimal)) {
            value->bits = std::bit_cast<std::uint64_t>(decimal);
            value->isMissing = false;
        } else if (!ReadPlain(layout.columns[i], cell, *value)) {
            return {RowFault::badValue, i};
        }
        missing += value->isMissing ? 1 : 0;
        ++value;
    }
    counts.missingValues += missing;
    return {};
}

// Reads a number of any form.
bool CsvSource::ReadPlain(const CsvColumn& column, std::string_view cell, PlainValue& value) {
    value.isMissing = IsMissingValue(cell);
    if (value.isMissing) {
        return true;
    }
    std::int64_t integer = 0;
    if (value.kind == PlainValue::Kind::integer && ReadShortNumber(cell, integer)) {
        value.bits = std::bit_cast<std::uint64_t>(integer);
        return true;
    }
    if (!ParseElement(column, cell)) {
        return false;
    }
    std::memcpy(&value.bits, elementBytes.data(), sizeof value.bits);
    return true;
}

// Writes the values into the buffer.
void CsvSource::PutValues() {
    buffer.Begin(values.size());
    for (const PlainValue& value : values) {
        if (!value.isMissing && value.kind == PlainValue::Kind::text) {
            buffer.Put(value.text);
        } else if (!value.isMissing) {
            buffer.Put(value.bits);
        }
        buffer.EndEntry();
    }
}

CsvSource::RowFault CsvSource::ConvertElements(const CsvRow& row) {
    std::uint64_t missing = 0;
    buffer.Begin(entryColumns.size());
    for (const std::size_t i : entryColumns) {
        const CsvColumn& column = layout.columns[i];
        const std::string_view cell = i < row.Size() ? row[i] : std::string_view();
        double decimal = 0;
        if (column.type == tsn::Double && column.count == 1 && ReadShortNumber(cell, decimal)) {
            buffer.Put(decimal);
        } else if (column.type == tsn::String ? cell.empty() : IsMissingValue(cell)) {
            ++missing;
        } else if (!AppendElements(column, cell)) {
            return {RowFault::badValue, i};
        }
        buffer.EndEntry();
    }
    counts.missingValues += missing;
    return {};
}

CsvSource::RowFault CsvSource::ConvertTime(const CsvRow& row) {
    if (layout.timeColumn == CsvLayout::none) {
        time =
            options.start.value_or(0) + static_cast<std::int64_t>(rows) * options.interval->count();
        return {};
    }
    const std::string_view cell =
        layout.timeColumn < row.Size() ? row[layout.timeColumn] : std::string_view();
    if (IsMissingValue(cell)) {
        return {RowFault::missingTime, layout.timeColumn};
    }
    std::optional<std::int64_t> clock = 0;
    if (layout.clockColumn != CsvLayout::none) {
        const std::string_view clockCell = row[layout.clockColumn];
        if (IsMissingValue(clockCell)) {
            return {RowFault::missingTime, layout.clockColumn};
        }
        clock = ParseClock(clockCell);
        if (!clock) {
            return {RowFault::badTime, layout.clockColumn};
        }
    }
    const std::optional<std::int64_t> parsed = ParseTimeCell(cell, *clock);
    time = parsed.value_or(time);
    return {parsed ? RowFault::none : RowFault::badTime, layout.timeColumn};
}

std::optional<std::int64_t> CsvSource::ParseTimeCell(std::string_view cell, std::int64_t clock) {
    if (options.start || layout.epoch) {
        if (layout.hasDecimalComma && cell.find(',') != std::string_view::npos) {
            number = cell;
            number[cell.find(',')] = '.';
            cell = number;
        }
        const auto count = ParseEpochTime(cell, options.start ? EpochUnit::seconds : *layout.epoch);
        return count ? std::optional(options.start.value_or(0) + *count) : std::nullopt;
    }
    const std::optional<TimeParts> parts = times.Read(cell);
    if (!parts) {
        return std::nullopt;
    }
    const std::int64_t clockTime = parts->time + clock;
    return zone && !parts->hasZone ? zone->ToUtc(clockTime, time) : clockTime;
}

bool CsvSource::AppendElements(const CsvColumn& column, std::string_view text) {
    if (column.count == 1) {
        return AppendOne(column, text);
    }
    ElementSplitter elements(text);
    unsigned int count = 0;
    for (; !elements.AtEnd() && (column.count == 0 || count < column.count); ++count) {
        if (!AppendOne(column, elements.Next())) {
            return false;
        }
    }
    return elements.AtEnd() && (column.count == 0 || count == column.count);
}

bool CsvSource::AppendOne(const CsvColumn& column, std::string_view text) {
    std::int64_t integer = 0;
    if (column.type == tsn::Int64 && ReadShortNumber(text, integer)) {
        buffer.Put(integer);
        return true;
    }
    if (column.type == tsn::String) {
        buffer.Put(text);
        return true;
    }
    const bool isElement = ParseElement(column, text);
    buffer.Put(std::string_view(elementBytes));
    return isElement;
}

// Has the bytes of a number in `elementBytes`.
bool CsvSource::ParseElement(const CsvColumn& column, std::string_view text) {
    const std::size_t comma = layout.hasDecimalComma ? text.find(',') : std::string_view::npos;
    if (comma != std::string_view::npos) {
        number = text;
        number[comma] = '.';
        text = number;
    }
    elementBytes.clear();
    return AppendElement(column.type, text, elementBytes);
}

void CsvSource::Reject(const CsvRow& row, const RowFault& fault) {
    if (!options.skipBad) {
        throw CommandError(Describe(row, fault));
    }
    if (counts.skipped++ == 0) {
        counts.firstSkipped = Describe(row, fault);
    }
    if (options.onSkipped) {
        options.onSkipped(Describe(row, fault));
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
        case RowFault::missingTime:
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
            if (ParseTime(row[fault.field], DateOrder::dayFirst) ||
                ParseTime(row[fault.field], DateOrder::monthFirst)) {
                text += "; --dates day-first or --dates month-first reads such dates";
            }
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
        if (column.inferred && GuessCellType(text, layout.hasDecimalComma) == tsn::Double) {
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
