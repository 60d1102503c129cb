// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_cursor.h"

#include "storage/history_schema.h"

#include <utility>

namespace velmora::storage {

namespace {

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

}  // namespace

HistoryCursor::HistoryCursor(const Database& database, std::shared_ptr<const StoredLayout> layout,
                             const Range& range)
    : database(database),
      layout(std::move(layout)),
      range(range),
      reader(database, *this->layout),
      passedTime(range.isBackwards ? range.to : range.from),
      passedSequence(range.isBackwards ? highest : lowest) {}

void HistoryCursor::Pass(std::int64_t newTime, std::int64_t newSequence) {
    passedTime = newTime;
    passedSequence = newSequence;
}

void HistoryCursor::Start() {
    if (IsInOrder()) {
        StartBySequence();
    } else {
        StartByIndex();
    }
    Step();
}

bool HistoryCursor::IsInOrder() const {
    Statement statement = database.Prepare("SELECT in_order FROM velmora_layout WHERE id = ?");
    statement.Bind(0, layout->GetId());
    return statement.Step() && statement.GetInt(0) != 0;
}

// Selects the rows of the range that have not been passed. The unary plus keeps SQLite from using
// the index for these terms.
std::string HistoryCursor::Where() const {
    return " FROM " + layout->Get().table + " WHERE time_us BETWEEN ?1 AND ?2 AND " +
           (range.isBackwards ? "(+time_us < ?2 OR +seq < ?3)" : "(+time_us > ?1 OR +seq > ?3)");
}

void HistoryCursor::BindRange(Statement& statement) const {
    statement.Bind(0, range.isBackwards ? range.from : passedTime);
    statement.Bind(1, range.isBackwards ? passedTime : range.to);
    statement.Bind(2, passedSequence);
}

void HistoryCursor::StartByIndex() {
    row = database.Prepare(
        "SELECT seq, time_us" + EntryColumns(layout->Get()) + Where() +
        (range.isBackwards ? " ORDER BY time_us DESC, seq DESC" : " ORDER BY time_us, seq"));
    BindRange(row);
}

// When rows arrived in the order of time, only the ends of the range are looked up in the index,
// and the rows between are read in sequence.
void HistoryCursor::StartBySequence() {
    std::int64_t ends[] = {0, -1};
    bool isEmpty = true;
    const char* const orders[] = {" ORDER BY time_us, seq LIMIT 1",
                                  " ORDER BY time_us DESC, seq DESC LIMIT 1"};
    for (int i = 0; i < 2; ++i) {
        Statement end = database.Prepare("SELECT seq" + Where() + orders[i]);
        BindRange(end);
        if (end.Step()) {
            ends[i] = end.GetInt(0);
            isEmpty = false;
        }
    }
    if (!isEmpty && ends[0] > ends[1]) {
        ThrowDisorder();
    }
    row = database.Prepare("SELECT seq, time_us" + EntryColumns(layout->Get()) + " FROM " +
                           layout->Get().table + " WHERE seq BETWEEN ?1 AND ?2 ORDER BY seq" +
                           (range.isBackwards ? " DESC" : ""));
    row.Bind(0, ends[0]);
    row.Bind(1, ends[1]);
}

void HistoryCursor::Step() {
    hasRow = row.Step();
    if (hasRow) {
        time = row.GetInt(1);
        if (range.isBackwards ? time > passedTime : time < passedTime) {
            ThrowDisorder();
        }
    }
}

void HistoryCursor::ThrowDisorder() const {
    database.ThrowCorrupt("the rows of table " + layout->Get().table +
                          " are not in the order of time.");
}

core::tessaryn::Sample& HistoryCursor::Read() {
    reader.Read(row);
    return reader.GetSample();
}

void HistoryCursor::Advance() {
    Pass(time, GetSequence());
    Step();
}

void HistoryCursor::Suspend() {
    row = Statement();
    hasRow = false;
}

}  // namespace velmora::storage
