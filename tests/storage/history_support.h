// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/history_exception.h"
#include "storage/history_writer.h"
#include "support/folder.h"
#include "support/samples.h"
#include "tessaryn/sample.h"

#include <chrono>
#include <memory>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace velmora::test {

using namespace std::chrono_literals;
using core::tessaryn::Sample;
using storage::HistoryException;
using storage::HistoryWriter;

/// Opens the file with SQLite alone, like another program.
class Outsider {
  public:
    explicit Outsider(const std::string& file) {
        sqlite3* opened = nullptr;
        sqlite3_open(file.c_str(), &opened);
        database.reset(opened);
    }

    void Run(const std::string& sql) const { Query(sql); }
    /// The rows, their columns joined by "|".
    std::vector<std::string> Query(const std::string& sql) const {
        std::vector<std::string> rows;
        const auto add = [](void* target, int count, char** values, char** /*names*/) {
            std::string row;
            for (int i = 0; i < count; ++i) {
                row.append(i == 0 ? "" : "|").append(values[i] == nullptr ? "NULL" : values[i]);
            }
            static_cast<std::vector<std::string>*>(target)->push_back(row);
            return 0;
        };
        if (sqlite3_exec(database.get(), sql.c_str(), add, &rows, nullptr) != SQLITE_OK) {
            throw std::runtime_error(sqlite3_errmsg(database.get()));
        }
        return rows;
    }

  private:
    struct Closer {
        void operator()(sqlite3* handle) const { sqlite3_close(handle); }
    };
    std::unique_ptr<sqlite3, Closer> database;
};

inline std::vector<std::string> Query(const std::string& file, const std::string& sql) {
    return Outsider(file).Query(sql);
}

/// The reason for which an action throws a HistoryException.
template <class Action>
HistoryException::Reason ReasonOf(Action&& action) {
    try {
        std::forward<Action>(action)();
    } catch (const HistoryException& error) {
        return error.GetReason();
    }
    throw std::runtime_error("nothing was thrown");
}

/// A sample of a type of one `Int32`.
inline Sample Number(TestType& type, int value, long long time) {
    Sample sample(&type.type, Poco::Timestamp());
    sample.Set(0, 0, value);
    return Restamped(std::move(sample), Poco::Timestamp(time));
}

}  // namespace velmora::test
