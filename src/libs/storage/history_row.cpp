// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_row.h"

#include "storage/history_array.h"
#include "storage/history_schema.h"
#include "tessaryn/sample_time.h"
#include "tessaryn/visit_type.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <sqlite3.h>
#include <stdexcept>
#include <type_traits>
#include <utility>

namespace velmora::storage {

using core::tessaryn::BaseType;
using core::tessaryn::Sample;

namespace {

// The most rows that one statement inserts, and the most parameters; SQLite allows 32,766.
constexpr std::size_t maxGroup = 16;
constexpr std::size_t maxParameters = 4000;

constexpr auto maxInteger =
    static_cast<unsigned long long>(std::numeric_limits<std::int64_t>::max());

// Padded to 20 digits, so that the texts sort like the numbers.
std::string LargeNumber(unsigned long long value) {
    const std::string digits = std::to_string(value);
    return std::string(20 - digits.size(), '0') + digits;
}

bool ReadLargeNumber(std::string_view text, unsigned long long& value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && text.size() == 20;
}

template <class T>
void Append(std::string& bytes, T value) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

template <class T>
bool AppendInteger(std::string& bytes, std::int64_t value) {
    // `char` is the type of `Int8`, whatever its sign on this machine.
    using Limits = std::numeric_limits<std::conditional_t<std::is_same_v<T, char>, signed char, T>>;
    if constexpr (std::is_unsigned_v<T> && sizeof(T) == sizeof value) {
        if (value < 0) {
            return false;
        }
    } else {
        if (value < std::int64_t{Limits::min()} || value > std::int64_t{Limits::max()}) {
            return false;
        }
    }
    Append(bytes, static_cast<T>(value));
    return true;
}

template <class T>
bool AppendFloating(std::string& bytes, double value) {
    if (std::isfinite(value) && std::abs(value) > double{std::numeric_limits<T>::max()}) {
        return false;
    }
    Append(bytes, static_cast<T>(value));
    return true;
}

std::vector<CellForm> FormsOf(const HistoryLayout& layout) {
    std::vector<CellForm> forms;
    for (const HistoryEntry& entry : layout.entries) {
        forms.push_back(FormOf(entry.type, entry.initialSize));
    }
    return forms;
}

std::string ColumnList(const HistoryLayout& layout) {
    return "time_us" + EntryColumns(layout);
}

std::string Parameters(std::size_t count) {
    std::string list = "?";
    for (std::size_t i = 1; i < count; ++i) {
        list += ", ?";
    }
    return list;
}

}  // namespace

RowBinder::RowBinder(const StoredLayout& layout)
    : layout(layout), forms(FormsOf(layout.Get())), texts(layout.Get().entries.size()) {}

void RowBinder::Bind(Statement& statement, int first, const Sample& sample) {
    statement.Bind(first, std::int64_t{sample.GetTimeStamp().epochMicroseconds()});
    for (std::size_t i = 0; i < texts.size(); ++i) {
        BindEntry(statement, first + 1 + static_cast<int>(i), sample,
                  static_cast<unsigned short>(i));
    }
}

void RowBinder::BindEntry(Statement& statement, int index, const Sample& sample,
                          unsigned short entry) {
    const HistoryEntry& described = layout.Get().entries[entry];
    const CellForm form = forms[entry];
    if (form == CellForm::number && sample.GetSize(entry) == 1) {
        BindNumber(statement, index, sample, entry);
        return;
    }
    std::string& text = texts[entry];
    if (form == CellForm::text) {
        text = sample.GetString(entry);
    } else {
        text.clear();
        AppendArray(text, sample, entry, described.type);
    }
    CheckLength(text.size(), entry);
    if (form != CellForm::text || IsText(text)) {
        statement.BindText(index, text);
    } else {
        statement.BindBlob(index, text);
    }
}

void RowBinder::BindNumber(Statement& statement, int index, const Sample& sample,
                           unsigned short entry) {
    switch (layout.Get().entries[entry].type) {
        case core::tessaryn::Int8:
            return statement.Bind(index,
                                  std::int64_t{static_cast<signed char>(sample.GetInt8(entry, 0))});
        case core::tessaryn::Int16:
            return statement.Bind(index, std::int64_t{sample.GetInt16(entry, 0)});
        case core::tessaryn::Int32:
            return statement.Bind(index, std::int64_t{sample.GetInt32(entry, 0)});
        case core::tessaryn::Int64:
            return statement.Bind(index, std::int64_t{sample.GetInt64(entry, 0)});
        case core::tessaryn::UInt8:
            return statement.Bind(index, std::int64_t{sample.GetUInt8(entry, 0)});
        case core::tessaryn::UInt16:
            return statement.Bind(index, std::int64_t{sample.GetUInt16(entry, 0)});
        case core::tessaryn::UInt32:
            return statement.Bind(index, std::int64_t{sample.GetUInt32(entry, 0)});
        case core::tessaryn::UInt64: {
            const unsigned long long value = sample.GetUInt64(entry, 0);
            if (value > maxInteger) {
                texts[entry] = LargeNumber(value);
                return statement.BindText(index, texts[entry]);
            }
            return statement.Bind(index, static_cast<std::int64_t>(value));
        }
        case core::tessaryn::Float:  // NaN is bound as NULL
            return statement.Bind(index, double{sample.GetFloat(entry, 0)});
        case core::tessaryn::Double:
            return statement.Bind(index, sample.GetDouble(entry, 0));
        case core::tessaryn::Bool:
            return statement.Bind(index, std::int64_t{sample.GetBool(entry, 0) ? 1 : 0});
        case core::tessaryn::String:
        case core::tessaryn::UnknownType:
            break;
    }
}

void RowBinder::CheckLength(std::size_t length, unsigned short entry) const {
    // A row must fit, too.
    constexpr std::size_t limit = Database::maxLength / 2;
    if (length > limit) {
        throw std::length_error("Entry '" + layout.Get().entries[entry].name + "' takes " +
                                std::to_string(length) + " bytes: a history keeps up to " +
                                std::to_string(limit) + ".");
    }
}

RowWriter::RowWriter(const Database& database, std::shared_ptr<const StoredLayout> layout,
                     std::int64_t lastFormer)
    : database(database), layout(std::move(layout)), lastFormer(lastFormer) {
    const HistoryLayout& stored = this->layout->Get();
    const std::size_t columns = stored.entries.size() + 1;
    const std::string sql = "INSERT INTO " + stored.table + "(" + ColumnList(stored) + ") VALUES";
    const std::string row = "(" + Parameters(columns) + ")";
    insert = database.Prepare(sql + row);
    std::string rows = row;
    binders.emplace_back(*this->layout);
    while (binders.size() < maxGroup && (binders.size() + 1) * columns <= maxParameters) {
        rows += "," + row;
        binders.emplace_back(*this->layout);
    }
    insertGroup = database.Prepare(sql + rows);
}

void RowWriter::Insert(const Sample& sample) {
    const int first = static_cast<int>(pending.size() * (layout->Get().entries.size() + 1));
    binders[pending.size()].Bind(insertGroup, first, sample);
    pending.push_back(&sample);
    if (pending.size() == binders.size()) {
        insertGroup.Run();
        pending.clear();
    }
    const std::int64_t time = sample.GetTimeStamp().epochMicroseconds();
    isInOrder = isInOrder && (isEmpty || time >= newest);
    newest = isEmpty ? time : std::max(newest, time);
    isEmpty = false;
    ++added;
}

// Inserts the rows of an incomplete group.
void RowWriter::InsertPending() {
    for (const Sample* const sample : pending) {
        binders.front().Bind(insert, 0, *sample);
        insert.Run();
    }
    pending.clear();
}

bool RowWriter::ContainsFormer(const Sample& sample) {
    if (isEmpty || sample.GetTimeStamp().epochMicroseconds() > newest) {
        return false;
    }
    if (select.Get() == nullptr) {
        const HistoryLayout& stored = layout->Get();
        // The time is compared separately, so that the index is used; the row value avoids SQLite's
        // limit on the depth of expressions.
        select =
            database.Prepare("SELECT 1 FROM " + stored.table + " WHERE (" + ColumnList(stored) +
                             ") IS (" + Parameters(stored.entries.size() + 1) +
                             ") AND time_us = ?1 AND seq <= " + std::to_string(lastFormer));
    }
    RowBinder binder(*layout);
    binder.Bind(select, 0, sample);
    const bool found = select.Step();
    select.Reset();
    return found;
}

void RowWriter::LoadCounts() {
    Statement statement =
        database.Prepare("SELECT newest_us, in_order FROM velmora_layout WHERE id = ?");
    statement.Bind(0, layout->GetId());
    if (!statement.Step()) {
        database.ThrowCorrupt("layout " + std::to_string(layout->GetId()) + " is missing.");
    }
    isCounting = true;
    added = 0;
    isEmpty = statement.IsNull(0);
    newest = statement.GetInt(0);
    isInOrder = statement.GetInt(1) != 0;
}

void RowWriter::SaveCounts() {
    InsertPending();
    Statement statement = database.Prepare(
        "UPDATE velmora_layout SET row_count = row_count + ?, newest_us = ?, in_order = ?"
        " WHERE id = ?");
    statement.Bind(0, added);
    if (isEmpty) {
        statement.BindNull(1);
    } else {
        statement.Bind(1, newest);
    }
    statement.Bind(2, std::int64_t{isInOrder ? 1 : 0});
    statement.Bind(3, layout->GetId());
    statement.Run();
    isCounting = false;
}

RowReader::RowReader(const Database& database, const StoredLayout& layout)
    : database(database),
      layout(layout),
      forms(FormsOf(layout.Get())),
      sample(layout.GetType(), Poco::Timestamp(0)),
      in(&source) {}

void RowReader::Read(const Statement& row) {
    const std::size_t count = layout.Get().entries.size();
    const std::size_t tableSize = (count + 1) * sizeof(unsigned int);
    bytes.resize(tableSize);
    for (std::size_t entry = 0; entry <= count; ++entry) {
        const auto offset = static_cast<unsigned int>(bytes.size() - tableSize);
        std::memcpy(bytes.data() + entry * sizeof offset, &offset, sizeof offset);
        if (entry < count) {
            AppendEntry(row, entry);
        }
    }
    source.Set(bytes);
    in.clear();
    sample.Deserialize(in);
    SetTimeStamp(sample, Poco::Timestamp(row.GetInt(1)));
}

void RowReader::AppendEntry(const Statement& row, std::size_t entry) {
    const HistoryEntry& described = layout.Get().entries[entry];
    const int column = static_cast<int>(entry) + 2;
    const int type = sqlite3_column_type(row.Get(), column);
    const CellForm form = forms[entry];
    bool isRead = false;
    if (form == CellForm::text) {
        isRead = type == SQLITE_TEXT || type == SQLITE_BLOB;
        bytes.append(isRead ? row.GetBytes(column) : std::string_view());
    } else {
        const std::string_view text =
            type == SQLITE_TEXT ? row.GetBytes(column) : std::string_view();
        if (text.starts_with('[')) {
            isRead = ReadArray(text, described.type, bytes);
        } else {
            isRead = form == CellForm::number && AppendNumber(row, column, described.type);
        }
    }
    if (!isRead || bytes.size() > std::numeric_limits<unsigned int>::max()) {
        database.ThrowCorrupt("row " + std::to_string(row.GetInt(0)) + " of table " +
                              layout.Get().table + " holds no " + ToString(described.type) +
                              " in column " + QuoteName(described.column) + ".");
    }
}

bool RowReader::AppendNumber(const Statement& row, int column, BaseType type) {
    const int stored = sqlite3_column_type(row.Get(), column);
    return core::tessaryn::VisitType(type, [&]<class T>(std::type_identity<T>) {
        if constexpr (std::is_floating_point_v<T>) {
            const double value = stored == SQLITE_NULL ? std::numeric_limits<double>::quiet_NaN()
                                                       : sqlite3_column_double(row.Get(), column);
            return stored != SQLITE_TEXT && stored != SQLITE_BLOB &&
                   AppendFloating<T>(bytes, value);
        } else if constexpr (std::is_same_v<T, bool>) {
            const std::int64_t value = row.GetInt(column);
            Append(bytes, value == 1);
            return stored == SQLITE_INTEGER && (value == 0 || value == 1);
        } else if constexpr (std::is_integral_v<T>) {
            if (std::is_same_v<T, unsigned long long> && stored == SQLITE_TEXT) {
                unsigned long long large = 0;
                const bool isRead = ReadLargeNumber(row.GetBytes(column), large);
                Append(bytes, large);
                return isRead;
            }
            return stored == SQLITE_INTEGER && AppendInteger<T>(bytes, row.GetInt(column));
        } else {
            return false;
        }
    });
}

}  // namespace velmora::storage
