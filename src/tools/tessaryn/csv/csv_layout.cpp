// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "csv/csv_layout.h"

#include "command_error.h"
#include "text/escaped_text.h"
#include "text/nearest.h"
#include "text/value_parser.h"

#include <Poco/Ascii.h>
#include <Poco/String.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <unordered_map>

namespace velmora::tool {

using core::tessaryn::BaseType;

namespace {

constexpr unsigned int maxElements = 65535;

// The title with "_" for each character that a rule cannot spell.
std::string EntryName(const std::string& title) {
    std::string name;
    for (const char c : title) {
        const bool continuation = (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
        if (Poco::Ascii::isAlphaNumeric(c) || c == '_') {
            name += c;
        } else if (!continuation) {
            name += '_';
        }
    }
    if (name.empty() || Poco::Ascii::isDigit(name.front())) {
        name.insert(name.begin(), '_');
    }
    return name;
}

bool IsTimeTitle(std::string_view title) {
    const std::array<const char*, 4> timeTitles = {"time", "timestamp", "datetime", "date"};
    return std::any_of(timeTitles.begin(), timeTitles.end(), [&](const char* name) {
        return Poco::icompare(std::string(title), name) == 0;
    });
}

// The column of a title or, if there is none, of an entry's name; null if there is none either.
CsvColumn* FindColumn(std::vector<CsvColumn>& columns, const std::string& name) {
    for (std::string CsvColumn::*const field : {&CsvColumn::title, &CsvColumn::entry}) {
        const auto place = std::find_if(columns.begin(), columns.end(),
                                        [&](const auto& column) { return column.*field == name; });
        if (place != columns.end()) {
            return &*place;
        }
    }
    return nullptr;
}

// The title without the unit in brackets at its end: "p [bar]" is p in bar.
std::string TakeUnit(const std::string& title, std::string& unit) {
    const std::size_t open = title.find_last_of("([");
    const bool isUnit = open != std::string::npos && open > 0 && title.size() > open + 2 &&
                        title.back() == (title[open] == '(' ? ')' : ']');
    const std::size_t end = isUnit ? title.find_last_not_of(' ', open - 1) : std::string::npos;
    if (end == std::string::npos) {
        return title;
    }
    unit = title.substr(open + 1, title.size() - open - 2);
    return title.substr(0, end + 1);
}

bool IsTrueOrFalse(std::string_view cell) {
    return cell == "true" || cell == "false";
}

// Whether a cell is a number only if a comma is its decimal point, and no separator of thousands.
bool ProvesDecimalComma(std::string_view cell, char delimiter) {
    const std::size_t comma = cell.find(',');
    return comma != std::string_view::npos && GuessCellType(cell, true) != BaseType::String &&
           (delimiter == ';' || cell.size() - comma - 1 != 3);
}

class LayoutMaker {
  public:
    LayoutMaker(const RowReader& reader, const std::vector<CsvRow>& firstRows,
                const CsvOptions& options, const std::string& file)
        : reader(reader),
          header(reader.GetHeader()),
          firstRows(firstRows),
          options(options),
          file(file) {}

    CsvLayout Make() {
        FindDecimalComma();
        NameColumns();
        TakeOwnColumns();
        CheckNames();
        for (const ColumnType& wanted : options.types) {
            SetType(wanted);
        }
        SetRoles();
        for (std::size_t i = 0; i < layout.columns.size(); ++i) {
            CsvColumn& column = layout.columns[i];
            if (column.inferred && column.role == CsvColumn::Role::entry &&
                !SetLikelyType(column)) {
                column.type = InferType(i);
                if (reader.IsArray(i) && column.type != BaseType::String) {
                    column.count = 0;
                }
            }
        }
        return std::move(layout);
    }

  private:
    using Role = CsvColumn::Role;

    [[noreturn]] void Fail(const std::string& message) const {
        throw CommandError(file + ":" + std::to_string(header.line) + ": " + message);
    }

    [[noreturn]] void FailForMissing(const std::string& name) const {
        std::string titles;
        std::vector<std::string> known;
        for (const CsvColumn& column : layout.columns) {
            titles += (titles.empty() ? "" : ", ") + Quoted(column.title);
            known.push_back(column.entry);
        }
        Fail("there is no column " + Quoted(name) + SuggestNearest(name, known) +
             "; the columns are " + titles);
    }

    bool IsComplete(const CsvRow& row) const {
        return row.fault == nullptr && row.Size() == layout.columns.size();
    }

    // A cell of the first rows; empty if the row lacks it or is bad.
    std::string_view CellOf(const CsvRow& row, std::size_t column) const {
        const bool isThere = row.fault == nullptr && column < row.Size() &&
                             (reader.AreRowsSparse() || IsComplete(row));
        return isThere ? row[column] : std::string_view();
    }

    // Whether the column has values, and all of them pass.
    template <class Test>
    bool AreAll(std::size_t column, Test test) const {
        bool any = false;
        for (const CsvRow& row : firstRows) {
            const std::string_view cell = CellOf(row, column);
            if (IsMissingValue(cell)) {
                continue;
            }
            if (!test(cell)) {
                return false;
            }
            any = true;
        }
        return any;
    }

    // Whether the rows begin with a row name, which R writes without a title.
    bool HaveRowNames() const {
        if (reader.AreRowsSparse() || firstRows.empty() || firstRows.front().fault != nullptr) {
            return false;
        }
        const CsvRow& first = firstRows.front();
        if (first.Size() != header.Size() + 1 || HasSurplusValue(first)) {
            return false;
        }
        return std::none_of(firstRows.begin(), firstRows.end(), [&](const CsvRow& row) {
            return row.fault == nullptr && row.Size() == header.Size();
        });
    }

    // Whether a row with one field too many has a surplus field at its end rather than a row name:
    // the last field is empty, or the time stands below a time title or in the first column.
    bool HasSurplusValue(const CsvRow& row) const {
        if (row[row.Size() - 1].empty()) {
            return true;
        }
        for (std::size_t i = 0; i < header.Size(); ++i) {
            if (ParseTime(row[i], options.dates)) {
                return i == 0 || IsTimeTitle(header[i]);
            }
        }
        return false;
    }

    void FindDecimalComma() {
        const char delimiter = reader.GetDelimiter();
        for (std::size_t i = 0; i < firstRows.size() && !layout.hasDecimalComma; ++i) {
            const CsvRow& row = firstRows[i];
            for (std::size_t field = 0; field < row.Size() && delimiter != ','; ++field) {
                layout.hasDecimalComma |= ProvesDecimalComma(row[field], delimiter);
            }
        }
    }

    void NameColumns() {
        if (HaveRowNames()) {
            layout.columns.push_back({"", ""});
        }
        for (std::size_t i = 0; i < header.Size(); ++i) {
            layout.columns.push_back({std::string(header[i]), ""});
        }
        CsvColumn& first = layout.columns.front();
        if (first.title.empty()) {
            first.title = "row";
            while (std::count_if(layout.columns.begin(), layout.columns.end(),
                                 [&](auto& column) { return column.title == first.title; }) > 1) {
                first.title += '_';
            }
        }
        for (CsvColumn& column : layout.columns) {
            column.entry = EntryName(TakeUnit(column.title, column.unit));
        }
        // If a quantity occurs in two units, the names keep the units.
        std::unordered_map<std::string, int> uses;
        for (const CsvColumn& column : layout.columns) {
            ++uses[column.entry];
        }
        for (CsvColumn& column : layout.columns) {
            if (uses[column.entry] > 1) {
                column.entry = EntryName(column.title);
            }
        }
    }

    // Recognises the columns that the program itself writes in addition to the entries.
    void TakeOwnColumns() {
        if (!reader.IsOwnOutput()) {
            return;
        }
        constexpr std::string_view unitPrefix = "units.";
        for (std::size_t i = 0; i < layout.columns.size(); ++i) {
            CsvColumn& column = layout.columns[i];
            if (column.title == "stream") {
                column.role = Role::stream;
                layout.streamColumn = i;
            } else if (column.title == "rule" || column.title == "context") {
                column.role = Role::unused;
            } else if (column.title.starts_with(unitPrefix)) {
                column.role = Role::unused;
                CsvColumn* const entry =
                    FindColumn(layout.columns, column.title.substr(unitPrefix.size()));
                for (const CsvRow& row : firstRows) {
                    if (entry != nullptr && entry->unit.empty()) {
                        entry->unit = CellOf(row, i);
                    }
                }
            }
        }
    }

    void CheckNames() {
        std::unordered_map<std::string, std::size_t> taken;
        for (std::size_t i = 0; i < layout.columns.size(); ++i) {
            const CsvColumn& column = layout.columns[i];
            if (column.title.empty()) {
                Fail("column " + std::to_string(i + 1) + " has no title");
            }
            const auto [place, isNew] = taken.emplace(column.entry, i);
            if (!isNew) {
                Fail("columns " + std::to_string(place->second + 1) + " and " +
                     std::to_string(i + 1) + " have the same entry name " + Quoted(column.entry));
            }
            if (column.entry != column.title && column.role == Role::entry) {
                layout.notes.push_back("column " + Quoted(column.title) + " has the entry name " +
                                       Quoted(column.entry) +
                                       (column.unit.empty() ? "" : " and the unit " + column.unit));
            }
        }
    }

    std::size_t Find(const std::string& name) {
        CsvColumn* const column = FindColumn(layout.columns, name);
        if (column == nullptr) {
            FailForMissing(name);
        }
        return static_cast<std::size_t>(column - layout.columns.data());
    }

    void SetType(const ColumnType& wanted) {
        CsvColumn& column = layout.columns[Find(wanted.name)];
        column.type = wanted.type;
        column.count = wanted.count;
        column.inferred = false;
    }

    // Whether the column has one of the likely types.
    bool SetLikelyType(CsvColumn& column) const {
        for (const ColumnType& likely : options.likelyTypes) {
            if (likely.name == column.entry) {
                column.type = likely.type;
                column.count = likely.count;
                return true;
            }
        }
        return false;
    }

    void SetRoles() {
        if (!options.columns.empty()) {
            std::vector<bool> isWanted(layout.columns.size());
            for (const std::string& name : options.columns) {
                isWanted[Find(name)] = true;
            }
            for (std::size_t i = 0; i < isWanted.size(); ++i) {
                if (!isWanted[i] && layout.columns[i].role == Role::entry) {
                    layout.columns[i].role = Role::unused;
                }
            }
        }
        if (!options.streamColumn.empty()) {
            layout.streamColumn = Find(options.streamColumn);
            layout.columns[layout.streamColumn].role = Role::stream;
        }
        layout.timeColumn = TimeColumn();
        if (layout.timeColumn == CsvLayout::none) {
            return;
        }
        layout.columns[layout.timeColumn].role = Role::time;
        FindClock();
    }

    std::size_t TimeColumn() {
        if (options.timeColumn.empty()) {
            return options.interval ? CsvLayout::none
                                    : (options.start ? FindSecondsColumn() : FindTimeColumn());
        }
        const std::size_t index = Find(options.timeColumn);
        if (!layout.columns[index].inferred) {
            Fail("--type gives a type to the time column " + Quoted(layout.columns[index].title));
        }
        for (const CsvRow& row : firstRows) {
            const std::string_view cell = CellOf(row, index);
            if (IsMissingValue(cell) || ParseTime(cell, options.dates)) {
                continue;
            }
            layout.epoch = GuessEpochUnit(cell);
            if (layout.epoch) {
                break;
            }
        }
        return index;
    }

    // The column that counts seconds from the start: the one titled as a time, or else the first.
    std::size_t FindSecondsColumn() const {
        for (std::size_t i = 0; i < layout.columns.size(); ++i) {
            const std::string& name = layout.columns[i].entry;
            if (IsTimeTitle(name) || name == "t" || name == "seconds" || name == "elapsed") {
                return i;
            }
        }
        return 0;
    }

    std::size_t FindTimeColumn() const {
        for (const CsvRow& row : firstRows) {
            for (std::size_t i = 0; i < layout.columns.size(); ++i) {
                if (layout.columns[i].inferred && ParseTime(CellOf(row, i), options.dates)) {
                    return i;
                }
            }
        }
        // No row has a time; with the title, the first bad field can be reported.
        FailForDates();
        for (std::size_t i = 0; i < layout.columns.size(); ++i) {
            if (layout.columns[i].inferred && IsTimeTitle(layout.columns[i].title)) {
                return i;
            }
        }
        if (std::none_of(firstRows.begin(), firstRows.end(),
                         [&](auto& row) { return IsComplete(row); })) {
            return 0;
        }
        Fail(
            "no column holds times such as 2020-01-01T00:00:00Z; --time selects a column of "
            "numbers that count from 1970, --start one of seconds from a start, and --every "
            "gives the rows times");
    }

    // Fails if a column has dates whose order the user must give.
    void FailForDates() const {
        for (std::size_t i = 0; i < layout.columns.size(); ++i) {
            for (const DateOrder order : {DateOrder::dayFirst, DateOrder::monthFirst}) {
                if (layout.columns[i].inferred &&
                    AreAll(i, [&](auto cell) { return ParseTime(cell, order).has_value(); })) {
                    Fail("column " + Quoted(layout.columns[i].title) + " holds dates such as " +
                         Quoted(CellOf(firstRows.front(), i)) +
                         ": --dates day-first or --dates month-first reads them");
                }
            }
        }
    }

    // Finds the column of times of day for a column that has only dates.
    void FindClock() {
        if (layout.epoch || options.start || !AreAll(layout.timeColumn, [&](auto cell) {
                const auto time = ParseTime(cell, options.dates);
                return time && !time->hasClock;
            })) {
            return;
        }
        for (std::size_t i = 0; i < layout.columns.size(); ++i) {
            const bool isClock = layout.columns[i].role != Role::time &&
                                 layout.columns[i].inferred &&
                                 AreAll(i, [](auto cell) { return ParseClock(cell).has_value(); });
            if (isClock) {
                layout.clockColumn = i;
                layout.columns[i].role = Role::clock;
                layout.notes.push_back("the time is made of the columns " +
                                       Quoted(layout.columns[layout.timeColumn].title) + " and " +
                                       Quoted(layout.columns[i].title));
                return;
            }
        }
    }

    BaseType InferType(std::size_t column) const {
        if (reader.AreRowsSparse() && AreAll(column, IsTrueOrFalse)) {
            return BaseType::Bool;
        }
        bool hasNumber = false;
        bool hasDouble = false;
        for (const CsvRow& row : firstRows) {
            std::string_view cell = CellOf(row, column);
            if (reader.IsArray(column)) {
                cell = cell.substr(0, cell.find(';'));
            }
            if (IsMissingValue(cell)) {
                continue;
            }
            const BaseType type = GuessCellType(cell, layout.hasDecimalComma);
            // A text after a number is a bad value, not a sign of a text column.
            if (type == BaseType::String && !hasNumber) {
                return BaseType::String;
            }
            hasNumber = true;
            hasDouble = hasDouble || type == BaseType::Double;
        }
        if (!hasNumber) {
            const auto isNaN = [](std::string_view cell) {
                return Poco::icompare(cell, "nan") == 0;
            };
            const bool hasNaN = std::any_of(firstRows.begin(), firstRows.end(),
                                            [&](auto& row) { return isNaN(CellOf(row, column)); });
            return hasNaN ? BaseType::Double : BaseType::String;
        }
        return hasDouble || reader.IsArray(column) ? BaseType::Double : BaseType::Int64;
    }

    const RowReader& reader;
    const CsvRow& header;
    const std::vector<CsvRow>& firstRows;
    const CsvOptions& options;
    const std::string& file;
    CsvLayout layout;
};

}  // namespace

ColumnType ParseColumnType(const std::string& text) {
    ColumnType result;
    std::size_t end = text.size();
    std::size_t colon = text.rfind(':');
    const bool counted =
        colon != std::string::npos && colon + 1 < end && Poco::Ascii::isDigit(text[colon + 1]);
    if (counted) {
        const char* const last = text.data() + end;
        const auto [stop, error] = std::from_chars(text.data() + colon + 1, last, result.count);
        if (error != std::errc() || stop != last || result.count == 0 ||
            result.count > maxElements) {
            throw CommandError("--type " + Quoted(text) + ": COUNT must be 1 to 65535");
        }
        end = colon;
        colon = end == 0 ? std::string::npos : text.rfind(':', end - 1);
    }
    if (colon == std::string::npos || colon == 0) {
        throw CommandError("--type " + Quoted(text) + " is not of the form NAME:TYPE[:COUNT]");
    }
    result.name = text.substr(0, colon);
    const std::string type = text.substr(colon + 1, end - colon - 1);
    result.type = core::tessaryn::GetTypeFromString(type);
    if (result.type == BaseType::UnknownType) {
        throw CommandError("--type " + Quoted(text) + ": there is no type " + Quoted(type));
    }
    if (counted && result.type == BaseType::String) {
        throw CommandError("--type " + Quoted(text) + ": a String cannot have a COUNT");
    }
    return result;
}

bool IsMissingWord(std::string_view cell) {
    return cell.empty() || cell == "-" || Poco::icompare(cell, "na") == 0 ||
           Poco::icompare(cell, "nan") == 0 || Poco::icompare(cell, "n/a") == 0 ||
           Poco::icompare(cell, "null") == 0;
}

BaseType GuessCellType(std::string_view cell, bool hasDecimalComma) {
    const std::size_t comma = hasDecimalComma ? cell.find(',') : std::string_view::npos;
    if (comma == std::string_view::npos) {
        return GuessType(cell);
    }
    std::string text(cell);
    text[comma] = '.';
    return GuessType(text);
}

CsvLayout MakeCsvLayout(const RowReader& reader, const std::vector<CsvRow>& firstRows,
                        const CsvOptions& options, const std::string& file) {
    return LayoutMaker(reader, firstRows, options, file).Make();
}

}  // namespace velmora::tool
