// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// What a host would otherwise use: a table in memory whose rows are overwritten in turn, rules as
// the WHEN clauses of triggers, and a function that the triggers call as the delegate.

#include "workload.h"

#include <Poco/Timestamp.h>
#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <sqlite3.h>
#include <sstream>
#include <stdexcept>
#include <string>

namespace velmora::benchmarks {
namespace {

class Table {
  public:
    explicit Table(int rowCount) : rows(rowCount) {
        Check(sqlite3_open(":memory:", &database));
        Run("CREATE TABLE sample(slot INTEGER PRIMARY KEY, time INTEGER, temperature REAL,"
            " pressure0 REAL, pressure1 REAL, pressure2 REAL, pressure3 REAL,"
            " state INTEGER, label TEXT)");
        insert = Prepare("INSERT OR REPLACE INTO sample VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)");
        Check(sqlite3_create_function(database, "notify", 1, SQLITE_UTF8, &calls, Notify, nullptr,
                                      nullptr));
    }
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    ~Table() {
        sqlite3_finalize(insert);
        sqlite3_finalize(select);
        sqlite3_close(database);
    }

    void Run(const std::string& statement) {
        Check(sqlite3_exec(database, statement.c_str(), nullptr, nullptr, nullptr));
    }

    // \param condition the rule; empty: always
    void AddTrigger(const std::string& condition) {
        const std::string when = condition.empty() ? "" : " WHEN " + condition;
        Run("CREATE TRIGGER rule" + std::to_string(triggers++) + " AFTER INSERT ON sample" + when +
            " BEGIN SELECT notify(NEW.slot); END");
    }

    void Push(const Values& values, const Poco::Timestamp& time) {
        int column = 0;
        Check(sqlite3_bind_int(insert, ++column, slot));
        Check(sqlite3_bind_int64(insert, ++column, time.epochMicroseconds()));
        Check(sqlite3_bind_double(insert, ++column, values.temperature));
        for (const float pressure : values.pressure) {
            Check(sqlite3_bind_double(insert, ++column, double{pressure}));
        }
        Check(sqlite3_bind_int(insert, ++column, values.state));
        Check(sqlite3_bind_text(insert, ++column, values.label.data(),
                                static_cast<int>(values.label.size()), SQLITE_STATIC));
        if (sqlite3_step(insert) != SQLITE_DONE) {
            Check(SQLITE_ERROR);
        }
        Check(sqlite3_reset(insert));
        slot = slot + 1 < rows ? slot + 1 : 0;
    }

    void IndexTimes() {
        Run("CREATE INDEX byTime ON sample(time)");
        select = Prepare("SELECT slot, temperature FROM sample WHERE time >= ?");
    }

    int CountSince(const Poco::Timestamp& since) {
        Check(sqlite3_bind_int64(select, 1, since.epochMicroseconds()));
        int found = 0;
        while (sqlite3_step(select) == SQLITE_ROW) {
            benchmark::DoNotOptimize(sqlite3_column_double(select, 1));
            ++found;
        }
        Check(sqlite3_reset(select));
        return found;
    }

    long long Calls() const { return calls; }

  private:
    static void Notify(sqlite3_context* context, int /*count*/, sqlite3_value** /*arguments*/) {
        ++*static_cast<long long*>(sqlite3_user_data(context));
    }

    sqlite3_stmt* Prepare(const char* statement) {
        sqlite3_stmt* prepared = nullptr;
        Check(sqlite3_prepare_v2(database, statement, -1, &prepared, nullptr));
        return prepared;
    }

    void Check(int status) {
        if (status != SQLITE_OK) {
            throw std::runtime_error(sqlite3_errmsg(database));
        }
    }

    sqlite3* database = nullptr;
    sqlite3_stmt* insert = nullptr;
    sqlite3_stmt* select = nullptr;
    int rows;
    int slot = 0;
    int triggers = 0;
    long long calls = 0;
};

enum class Rules { none, always, one, many, thousands };

constexpr int thousandsOfRules = 10'000;

std::string Condition(double limit, int wanted) {
    std::ostringstream text;
    text << "NEW.temperature > " << limit << " AND NEW.state = " << wanted;
    return text.str();
}

void Push(benchmark::State& state, Rules rules) {
    Table table(ringSize);
    ValueSource source;
    for (int i = 0; i < ringSize + ringSize / 2; ++i) {
        table.Push(source.Next(), Poco::Timestamp());
    }
    if (rules == Rules::always) {
        table.AddTrigger("");
    }
    if (rules == Rules::one) {
        table.AddTrigger(Condition(25.5, 3));
    }
    for (int k = 0; rules == Rules::many && k < manyRules; ++k) {
        table.AddTrigger(Condition(TemperatureLimit(k), StateLimit(k)));
    }
    for (int k = 0; rules == Rules::thousands && k < thousandsOfRules; ++k) {
        table.AddTrigger(Condition(20 + 0.002 * k, StateLimit(k)));
    }
    // Compiles the triggers.
    table.Push(source.Next(), Poco::Timestamp());
    for (auto _ : state) {
        table.Push(source.Next(), Poco::Timestamp());
    }
    if ((table.Calls() > 0) != (rules == Rules::always)) {
        state.SkipWithError("the function was called at the wrong times");
    }
}

Table& TableOf(int size) {
    static std::map<int, std::unique_ptr<Table>> tables;
    std::unique_ptr<Table>& table = tables[size];
    if (!table) {
        table = std::make_unique<Table>(size);
        ValueSource source;
        const Poco::Timestamp now;
        const int pushes = size + size / 2;
        table->Run("BEGIN");
        for (int i = 0; i < pushes; ++i) {
            table->Push(source.Next(), now - sampleDistance * (pushes - 1 - i));
        }
        table->Run("COMMIT");
        table->IndexTimes();
    }
    return *table;
}

void QueryLast(benchmark::State& state, int size) {
    Table& table = TableOf(size);
    int found = 0;
    for (auto _ : state) {
        found = table.CountSince(Poco::Timestamp() - hundredSamples);
    }
    if (found < 98 || found > 100) {
        state.SkipWithError("an answer of another size");
    }
}

}  // namespace

void RegisterSqliteBenchmarks() {
    benchmark::RegisterBenchmark("P0/sqlite", Push, Rules::none);
    benchmark::RegisterBenchmark("P1/sqlite", Push, Rules::always);
    benchmark::RegisterBenchmark("P2/sqlite", Push, Rules::one);
    benchmark::RegisterBenchmark("P3/sqlite", Push, Rules::many);
    benchmark::RegisterBenchmark("R.10000/sqlite", Push, Rules::thousands)->Iterations(20);
    for (const int size : {1024, 100'000, 1'000'000}) {
        const std::string name = "Q1." + std::to_string(size) + "/sqlite";
        benchmark::RegisterBenchmark(name.c_str(), QueryLast, size);
    }
}

}  // namespace velmora::benchmarks
