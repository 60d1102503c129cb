// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "fuzz/fuzz.h"
#include "storage/history.h"
#include "storage/history_exception.h"
#include "storage/history_reader.h"
#include "storage/history_writer.h"
#include "support/folder.h"
#include "support/samples.h"

#include <gtest/gtest.h>

#include <memory>
#include <sqlite3.h>
#include <string>

namespace velmora::test {

namespace {

using namespace core::tessaryn;
using storage::History;
using storage::HistoryException;
using storage::HistoryReader;
using storage::HistoryWriter;

TestType& Tank() {
    static TestType type({{"n", Int32, 1}, {"x", Double, 1}, {"a", Float, 2}, {"s", String, 0}});
    return type;
}

TestType& NextTank() {
    static TestType type({{"n", UInt64, 1}, {"b", Bool, 3}}, "Pos", {1, 1, 0});
    return type;
}

const Folder& Place() {
    static const Folder folder;
    return folder;
}

// The bytes of a history of two streams, one of which has two layouts.
const std::string& Intact() {
    static const std::string bytes = [] {
        {
            HistoryWriter writer(Place().PathOf("intact.db"));
            for (int i = 0; i < 40; ++i) {
                Sample sample(&Tank().type, Poco::Timestamp());
                sample.Set(0, 0, i);
                sample.Set(3, std::string(static_cast<std::size_t>(i), '\xFF'));
                writer.Write("s", Restamped(std::move(sample), Poco::Timestamp(i % 7)));
            }
            writer.Write("s", Sample(&NextTank().type, Poco::Timestamp(3)));
            writer.Write("t", Sample(&NextTank().type, Poco::Timestamp(4)));
        }
        return Place().Read("intact.db");
    }();
    return bytes;
}

// Replaces bytes at places that the choices name.
void ChangeBytes(std::string& bytes, ByteChoices& choices) {
    while (!choices.Done()) {
        const std::size_t page = choices.Below(32) * std::size_t{4096};
        const std::size_t place = page + choices.Below(256) * 16 + choices.Below(16);
        bytes[place % bytes.size()] = static_cast<char>(choices.Below(256));
    }
}

// Changes the file as another program would: one statement of a table, with a value from the input.
void ChangeBySql(const std::string& file, ByteChoices& choices, std::string_view rest) {
    static const char* const statements[] = {
        "UPDATE velmora_entry SET name = ?1 WHERE id = 0",
        "UPDATE velmora_entry SET type = ?1 WHERE id = 1",
        "UPDATE velmora_entry SET size = ?1",
        "UPDATE velmora_entry SET column_name = ?1",
        "UPDATE velmora_entry SET id = ?1 WHERE id = 0",
        "UPDATE velmora_layout SET stream = ?1",
        "UPDATE velmora_layout SET id = ?1 WHERE id = 1",
        "UPDATE velmora_layout SET version = ?1",
        "UPDATE velmora_layout SET type = ?1, in_order = ?1, newest_us = ?1, row_count = ?1",
        "UPDATE velmora_stream SET path = ?1 WHERE id = 1",
        "UPDATE velmora_stream SET view = ?1",
        "UPDATE velmora_rows_1 SET n = ?1",
        "UPDATE velmora_rows_1 SET x = ?1",
        "UPDATE velmora_rows_1 SET a = ?1",
        "UPDATE velmora_rows_1 SET s = ?1",
        "UPDATE velmora_rows_1 SET time_us = ?1",
        "UPDATE velmora_rows_2 SET n = ?1, b = ?1",
        "PRAGMA writable_schema = ON; UPDATE sqlite_schema SET sql = ?1 WHERE rowid = 4",
        "CREATE TRIGGER evil AFTER INSERT ON velmora_rows_1 BEGIN DELETE FROM velmora_stream; END",
    };
    sqlite3* opened = nullptr;
    sqlite3_open(file.c_str(), &opened);
    const std::unique_ptr<sqlite3, int (*)(sqlite3*)> database(opened, sqlite3_close);
    const char* sql = statements[choices.Below(std::size(statements))];
    const bool isText = choices.Below(2) == 0;
    while (*sql != '\0') {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(database.get(), sql, -1, &statement, &sql) != SQLITE_OK) {
            return;
        }
        if (isText) {
            sqlite3_bind_text(statement, 1, rest.data(), static_cast<int>(rest.size()),
                              SQLITE_TRANSIENT);
        } else {
            sqlite3_bind_int64(statement, 1, rest.empty() ? 0 : rest.front() * 100'000'000'000LL);
        }
        sqlite3_step(statement);
        sqlite3_finalize(statement);
    }
}

// All that a host does with a file. Refusing it at any point is right.
void Use(const std::string& file) {
    try {
        History history(file);
        history.GetStreams();
        for (const bool isBackwards : {false, true}) {
            HistoryReader reader(history,
                                 {.newest = isBackwards ? 3U : 0U, .isBackwards = isBackwards});
            while (reader.Next()) {
                BinaryOf(reader.GetSample());
            }
        }
        HistoryReader since(
            history, {.from = Poco::Timestamp(3), .to = Poco::Timestamp(4), .rule = "n > 3"});
        while (since.Next()) {
        }
    } catch (const HistoryException&) {
    }
    try {
        HistoryWriter writer(file, {.retention = {.maxRows = 30}});
        writer.Write("s", Sample(&Tank().type, Poco::Timestamp(9)));
        writer.Write("new", Sample(&Tank().type, Poco::Timestamp(9)));
        writer.Flush();
        writer.Close();
    } catch (const HistoryException&) {
    }
}

}  // namespace

// A history whose bytes, or whose tables, were changed is refused or read, and written, without
// harm.
void Fuzz(std::string_view input) {
    ByteChoices choices(input);
    const std::string file = Place().PathOf("changed.db");
    for (const char* const ending : {"-wal", "-shm", ""}) {
        std::remove((file + ending).c_str());
    }
    const bool isBySql = choices.Below(2) == 0;
    if (isBySql) {
        Place().Write("changed.db", Intact());
        const auto statement = choices.Take(2);
        ByteChoices which(statement);
        ChangeBySql(file, which, choices.Take(200));
    } else {
        std::string bytes = Intact();
        ChangeBytes(bytes, choices);
        Place().Write("changed.db", bytes);
    }
    Use(file);
}

}  // namespace velmora::test
