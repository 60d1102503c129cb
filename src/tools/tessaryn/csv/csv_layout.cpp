// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "csv/csv_layout.h"

#include "command_error.h"
#include "text/escaped_text.h"
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

class LayoutMaker {
  public:
    LayoutMaker(const CsvRow& header, const std::vector<CsvRow>& firstRows,
                const CsvOptions& options, const std::string& file)
        : header(header), firstRows(firstRows), options(options), file(file) {}

    CsvLayout Make() {
        NameColumns();
        CheckNames();
        for (const ColumnType& wanted : options.types) {
            SetType(wanted);
        }
        layout.timeColumn = TimeColumn();
        for (std::size_t i = 0; i < layout.columns.size(); ++i) {
            if (layout.columns[i].inferred && i != layout.timeColumn) {
                layout.columns[i].type = InferType(i);
            }
        }
        return std::move(layout);
    }

  private:
    [[noreturn]] void Fail(const std::string& message) const {
        throw CommandError(file + ":" + std::to_string(header.line) + ": " + message);
    }

    [[noreturn]] void FailForMissing(const std::string& name) const {
        std::string titles;
        for (const CsvColumn& column : layout.columns) {
            titles += (titles.empty() ? "" : ", ") + Quoted(column.title);
        }
        Fail("there is no column " + Quoted(name) + "; the columns are " + titles);
    }

    bool IsComplete(const CsvRow& row) const {
        return row.fault == nullptr && row.Size() == layout.columns.size();
    }

    // Whether the rows begin with a row name, which R writes without a title.
    bool HaveRowNames() const {
        if (firstRows.empty() || firstRows.front().fault != nullptr) {
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
            if (ParseIsoTime(row[i])) {
                return i == 0 || IsTimeTitle(header[i]);
            }
        }
        return false;
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
            column.entry = EntryName(column.title);
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
            if (column.entry != column.title) {
                layout.notes.push_back("column " + Quoted(column.title) + " has the entry name " +
                                       Quoted(column.entry));
            }
        }
    }

    void SetType(const ColumnType& wanted) {
        CsvColumn* const column = FindColumn(layout.columns, wanted.name);
        if (column == nullptr) {
            FailForMissing(wanted.name);
        }
        column->type = wanted.type;
        column->count = wanted.count;
        column->inferred = false;
    }

    std::size_t TimeColumn() {
        if (options.timeColumn.empty()) {
            return FindTimeColumn();
        }
        CsvColumn* const column = FindColumn(layout.columns, options.timeColumn);
        if (column == nullptr) {
            FailForMissing(options.timeColumn);
        }
        if (!column->inferred) {
            Fail("--type gives a type to the time column " + Quoted(column->title));
        }
        const auto index = static_cast<std::size_t>(column - layout.columns.data());
        for (const CsvRow& row : firstRows) {
            if (!IsComplete(row) || ParseIsoTime(row[index])) {
                continue;
            }
            layout.epoch = GuessEpochUnit(row[index]);
            if (layout.epoch) {
                break;
            }
        }
        return index;
    }

    std::size_t FindTimeColumn() const {
        for (const CsvRow& row : firstRows) {
            for (std::size_t i = 0; IsComplete(row) && i < row.Size(); ++i) {
                if (layout.columns[i].inferred && ParseIsoTime(row[i])) {
                    return i;
                }
            }
        }
        // No row has a time; with the title, the first bad field can be reported.
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
            "numbers that count from 1970");
    }

    BaseType InferType(std::size_t column) const {
        bool hasNumber = false;
        bool hasDouble = false;
        for (const CsvRow& row : firstRows) {
            if (!IsComplete(row) || row[column].empty()) {
                continue;
            }
            const BaseType type = GuessType(row[column]);
            // A text after a number is a bad value, not a sign of a text column.
            if (type == BaseType::String && !hasNumber) {
                return BaseType::String;
            }
            hasNumber = true;
            hasDouble = hasDouble || type == BaseType::Double;
        }
        if (!hasNumber) {
            return BaseType::String;
        }
        return hasDouble ? BaseType::Double : BaseType::Int64;
    }

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

CsvLayout MakeCsvLayout(const CsvRow& header, const std::vector<CsvRow>& firstRows,
                        const CsvOptions& options, const std::string& file) {
    return LayoutMaker(header, firstRows, options, file).Make();
}

}  // namespace velmora::tool
