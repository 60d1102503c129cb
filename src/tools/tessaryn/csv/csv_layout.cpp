// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "csv/csv_layout.h"

#include "command_error.h"
#include "text/escaped_text.h"
#include "text/value_parser.h"

#include <Poco/String.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <unordered_map>

namespace velmora::tool {

using core::tessaryn::BaseType;

namespace {

constexpr unsigned int maxElements = 65535;

constexpr bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

constexpr bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

// The title with "_" for each character that a rule's names can't have.
std::string EntryName(const std::string& title) {
    std::string name;
    for (const char c : title) {
        const bool continuation = (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
        if (IsLetter(c) || IsDigit(c)) {
            name += c;
        } else if (!continuation) {
            name += '_';
        }
    }
    if (name.empty() || IsDigit(name.front())) {
        name.insert(name.begin(), '_');
    }
    return name;
}

bool IsTimeTitle(std::string_view title) {
    const std::array<const char*, 4> usual = {"time", "timestamp", "datetime", "date"};
    return std::any_of(usual.begin(), usual.end(), [&](const char* name) {
        return Poco::icompare(std::string(title), name) == 0;
    });
}

// A column by its title or, failing that, by its entry's name.
CsvColumn* Find(std::vector<CsvColumn>& columns, const std::string& name) {
    for (std::string CsvColumn::*const field : {&CsvColumn::title, &CsvColumn::entry}) {
        const auto place = std::find_if(columns.begin(), columns.end(),
                                        [&](const auto& column) { return column.*field == name; });
        if (place != columns.end()) {
            return &*place;
        }
    }
    return nullptr;
}

// The steps by which a layout is told.
class LayoutMaker {
  public:
    LayoutMaker(const CsvRow& header, const std::vector<CsvRow>& ahead, const CsvOptions& options,
                const std::string& file)
        : header(header), ahead(ahead), options(options), file(file) {}

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

    [[noreturn]] void FailFor(const std::string& name) const {
        std::string titles;
        for (const CsvColumn& column : layout.columns) {
            titles += (titles.empty() ? "" : ", ") + Quoted(column.title);
        }
        Fail("there is no column " + Quoted(name) + " among " + titles);
    }

    bool IsComplete(const CsvRow& row) const {
        return row.fault == nullptr && row.Size() == layout.columns.size();
    }

    // Whether the rows have the row's name before the header's columns, as R writes them.
    bool HaveRowNames() const {
        if (ahead.empty() || ahead.front().fault != nullptr) {
            return false;
        }
        const CsvRow& first = ahead.front();
        if (first.Size() != header.Size() + 1 || HasSurplusValue(first)) {
            return false;
        }
        return std::none_of(ahead.begin(), ahead.end(), [&](const CsvRow& row) {
            return row.fault == nullptr && row.Size() == header.Size();
        });
    }

    // Whether the last field of a row is the one too many: it is empty, or with it the time would
    // stand under the title of another column.
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
                Fail("column " + std::to_string(i + 1) + " has no name");
            }
            const auto [place, isNew] = taken.emplace(column.entry, i);
            if (!isNew) {
                Fail("columns " + std::to_string(place->second + 1) + " and " +
                     std::to_string(i + 1) + " would both be the entry " + Quoted(column.entry));
            }
            if (column.entry != column.title) {
                layout.notes.push_back("column " + Quoted(column.title) + " is the entry " +
                                       Quoted(column.entry));
            }
        }
    }

    void SetType(const ColumnType& wanted) {
        CsvColumn* const column = Find(layout.columns, wanted.name);
        if (column == nullptr) {
            FailFor(wanted.name);
        }
        column->type = wanted.type;
        column->count = wanted.count;
        column->inferred = false;
    }

    std::size_t TimeColumn() {
        if (options.timeColumn.empty()) {
            return FindTimeColumn();
        }
        CsvColumn* const column = Find(layout.columns, options.timeColumn);
        if (column == nullptr) {
            FailFor(options.timeColumn);
        }
        if (!column->inferred) {
            Fail("the time column " + Quoted(column->title) + " is no entry and has no type");
        }
        const auto index = static_cast<std::size_t>(column - layout.columns.data());
        for (const CsvRow& row : ahead) {
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
        for (const CsvRow& row : ahead) {
            for (std::size_t i = 0; IsComplete(row) && i < row.Size(); ++i) {
                if (layout.columns[i].inferred && ParseIsoTime(row[i])) {
                    return i;
                }
            }
        }
        // Where no row is good, the title lets the message tell the bad field.
        for (std::size_t i = 0; i < layout.columns.size(); ++i) {
            if (IsTimeTitle(layout.columns[i].title)) {
                return i;
            }
        }
        if (std::none_of(ahead.begin(), ahead.end(), [&](auto& row) { return IsComplete(row); })) {
            return 0;
        }
        Fail(
            "no column holds times such as 2020-01-01T00:00:00Z; --time names a column of "
            "numbers that count from 1970");
    }

    BaseType InferType(std::size_t column) const {
        bool decimal = false;
        bool number = false;
        for (const CsvRow& row : ahead) {
            if (!IsComplete(row) || row[column].empty()) {
                continue;
            }
            const BaseType type = GuessType(row[column]);
            // A text among numbers is bad input rather than a reason to compare texts.
            if (type == BaseType::String && !number) {
                return BaseType::String;
            }
            number = true;
            decimal = decimal || type == BaseType::Double;
        }
        if (!number) {
            return BaseType::String;
        }
        return decimal ? BaseType::Double : BaseType::Int64;
    }

    const CsvRow& header;
    const std::vector<CsvRow>& ahead;
    const CsvOptions& options;
    const std::string& file;
    CsvLayout layout;
};

}  // namespace

ColumnType ParseColumnType(const std::string& text) {
    ColumnType result;
    std::size_t end = text.size();
    std::size_t colon = text.rfind(':');
    const bool counted = colon != std::string::npos && colon + 1 < end && IsDigit(text[colon + 1]);
    if (counted) {
        const char* const last = text.data() + end;
        const auto [stop, error] = std::from_chars(text.data() + colon + 1, last, result.count);
        if (error != std::errc() || stop != last || result.count == 0 ||
            result.count > maxElements) {
            throw CommandError("--type " + Quoted(text) + ": a count is 1 to 65535");
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
        throw CommandError("--type " + Quoted(text) + ": a String has no count");
    }
    return result;
}

CsvLayout MakeCsvLayout(const CsvRow& header, const std::vector<CsvRow>& ahead,
                        const CsvOptions& options, const std::string& file) {
    return LayoutMaker(header, ahead, options, file).Make();
}

}  // namespace velmora::tool
