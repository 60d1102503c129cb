// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

// Samples into a history and out of it, beside prepared statements on a table with the same columns
// and the same index, through SQLite's C interface.

#include "storage/history.h"
#include "storage/history_reader.h"
#include "storage/history_writer.h"
#include "streams.h"

#include <Poco/TemporaryFile.h>
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <map>
#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace velmora::benchmarks {
namespace {

constexpr int batchSize = 10'000;
constexpr int writtenRows = 4 * batchSize;
/// Microseconds between two rows.
constexpr long long rowDistance = 1000;

/// Rows of the table that is read; the environment can ask for more.
int ReadTableSize() {
    static const int size = [] {
        const char* const wanted = std::getenv("VELMORA_HISTORY_ROWS");
        return wanted == nullptr ? 1'000'000 : std::stoi(wanted);
    }();
    return size;
}

/// CPU time of all threads.
double ProcessTime() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

class Folder {
  public:
    Folder() { folder.createDirectory(); }
    std::string PathOf(const std::string& name) const { return folder.path() + "/" + name; }

  private:
    Poco::TemporaryFile folder;
};

/// What a host would write by hand.
class RowTable {
  public:
    explicit RowTable(const std::string& file) {
        Check(sqlite3_open(file.c_str(), &database));
        Run("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL");
    }
    RowTable(const RowTable&) = delete;
    RowTable& operator=(const RowTable&) = delete;
    ~RowTable() {
        sqlite3_finalize(insert);
        sqlite3_finalize(select);
        sqlite3_close(database);
    }

    void Create() {
        Run("CREATE TABLE sample(seq INTEGER PRIMARY KEY, time_us INTEGER NOT NULL,"
            " temperature REAL, pressure TEXT, state INTEGER, label TEXT);"
            "CREATE INDEX sample_time ON sample(time_us)");
        insert = Prepare(
            "INSERT INTO sample(time_us, temperature, pressure, state, label)"
            " VALUES(?, ?, ?, ?, ?)");
    }

    void Insert(const Values& values, const std::string& pressure, long long time) {
        Check(sqlite3_bind_int64(insert, 1, time));
        Check(sqlite3_bind_double(insert, 2, values.temperature));
        Check(sqlite3_bind_text(insert, 3, pressure.data(), static_cast<int>(pressure.size()),
                                SQLITE_STATIC));
        Check(sqlite3_bind_int(insert, 4, values.state));
        Check(sqlite3_bind_text(insert, 5, values.label.data(),
                                static_cast<int>(values.label.size()), SQLITE_STATIC));
        if (sqlite3_step(insert) != SQLITE_DONE) {
            Check(SQLITE_ERROR);
        }
        Check(sqlite3_reset(insert));
    }

    int Read(const std::string& table, long long from, long long to) {
        if (select == nullptr) {
            select = Prepare("SELECT seq, time_us, temperature, pressure, state, label FROM " +
                             table + " WHERE time_us BETWEEN ? AND ? ORDER BY time_us, seq");
        }
        Check(sqlite3_bind_int64(select, 1, from));
        Check(sqlite3_bind_int64(select, 2, to));
        int found = 0;
        while (sqlite3_step(select) == SQLITE_ROW) {
            benchmark::DoNotOptimize(sqlite3_column_int64(select, 1));
            benchmark::DoNotOptimize(sqlite3_column_double(select, 2));
            benchmark::DoNotOptimize(sqlite3_column_text(select, 3));
            benchmark::DoNotOptimize(sqlite3_column_bytes(select, 3));
            benchmark::DoNotOptimize(sqlite3_column_int(select, 4));
            benchmark::DoNotOptimize(sqlite3_column_text(select, 5));
            benchmark::DoNotOptimize(sqlite3_column_bytes(select, 5));
            ++found;
        }
        Check(sqlite3_reset(select));
        return found;
    }

    void Run(const char* statement) {
        Check(sqlite3_exec(database, statement, nullptr, nullptr, nullptr));
    }

  private:
    sqlite3_stmt* Prepare(const std::string& statement) {
        sqlite3_stmt* prepared = nullptr;
        Check(sqlite3_prepare_v2(database, statement.c_str(), -1, &prepared, nullptr));
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
};

std::vector<Sample> MakeSamples(int count, long long firstTime) {
    ValueSource source;
    std::vector<Sample> samples;
    samples.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        Sample sample(&TypeOfValues(), Poco::Timestamp());
        Fill(sample, source.Next());
        samples.push_back(
            Restamped(std::move(sample), Poco::Timestamp(firstTime + i * rowDistance)));
    }
    return samples;
}

void WriteHistory(benchmark::State& state) {
    const Folder folder;
    long long time = 0;
    {
        storage::HistoryWriter writer(folder.PathOf("a.db"),
                                      {.maxBatch = batchSize, .interval = std::chrono::hours(1)});
        const std::string path = "plant/line1";
        for (auto _ : state) {
            const std::vector<Sample> samples = MakeSamples(writtenRows, time);
            time += writtenRows * rowDistance;
            const double begin = ProcessTime();
            for (const Sample& sample : samples) {
                writer.Write(path, sample);
            }
            writer.Flush();
            state.SetIterationTime((ProcessTime() - begin) / writtenRows);
        }
    }
    if (storage::History(folder.PathOf("a.db")).GetStreams().at(0).layouts.at(0).rowCount !=
        static_cast<std::uint64_t>(time / rowDistance)) {
        state.SkipWithError("rows are missing");
    }
}

void WriteTable(benchmark::State& state) {
    const Folder folder;
    RowTable table(folder.PathOf("a.db"));
    table.Create();
    ValueSource source;
    long long time = 0;
    const std::string pressure = "[1.25,2.25,3.25,-1.25]";
    for (auto _ : state) {
        const double begin = ProcessTime();
        for (int i = 0; i < writtenRows; ++i) {
            if (i % batchSize == 0) {
                table.Run("BEGIN IMMEDIATE");
            }
            table.Insert(source.Next(), pressure, time);
            time += rowDistance;
            if (i % batchSize == batchSize - 1) {
                table.Run("COMMIT");
            }
        }
        state.SetIterationTime((ProcessTime() - begin) / writtenRows);
    }
}

/// A history of so many rows, made once.
const std::string& HistoryOf(int size) {
    static const Folder folder;
    static std::map<int, std::string> files;
    std::string& file = files[size];
    if (file.empty()) {
        file = folder.PathOf(std::to_string(size) + ".db");
        storage::HistoryWriter writer(file);
        for (int i = 0; i < size; i += batchSize) {
            for (Sample& sample : MakeSamples(std::min(batchSize, size - i), i * rowDistance)) {
                writer.Write("plant/line1", std::move(sample));
            }
        }
    }
    return file;
}

/// \param size rows of the history
/// \param count rows that are read of it
void ReadHistory(benchmark::State& state, int size, int count) {
    const storage::History history(HistoryOf(size));
    const long long from = size / 2 * rowDistance;
    int found = 0;
    for (auto _ : state) {
        storage::HistoryReader reader(history,
                                      {.streams = "plant/line1",
                                       .from = Poco::Timestamp(from),
                                       .to = Poco::Timestamp(from + (count - 1) * rowDistance)});
        found = 0;
        while (reader.Next()) {
            benchmark::DoNotOptimize(&reader.GetSample());
            ++found;
        }
    }
    if (found != count) {
        state.SkipWithError("an answer of another size");
    }
}

void ReadTable(benchmark::State& state, int size, int count) {
    RowTable table(HistoryOf(size));
    const long long from = size / 2 * rowDistance;
    int found = 0;
    for (auto _ : state) {
        found = table.Read("velmora_rows_1", from, from + (count - 1) * rowDistance);
    }
    if (found != count) {
        state.SkipWithError("an answer of another size");
    }
}

}  // namespace

void RegisterHistoryBenchmarks() {
    const auto addWrite = [](const char* name, void (*write)(benchmark::State&)) {
        benchmark::RegisterBenchmark(name, write)->UseManualTime()->Iterations(1);
    };
    addWrite("H1/ours", WriteHistory);
    addWrite("H1/floor", WriteTable);
    const int size = ReadTableSize();
    benchmark::RegisterBenchmark("H2/ours", ReadHistory, size, size / 100);
    benchmark::RegisterBenchmark("H2/floor", ReadTable, size, size / 100);
    benchmark::RegisterBenchmark("H3/ours", ReadHistory, size / 10, size / 100);
}

}  // namespace velmora::benchmarks
