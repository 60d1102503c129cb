// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_batch.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace velmora::storage {

using core::tessaryn::StreamType;

BatchWriter::BatchWriter(const std::string& path, std::chrono::milliseconds lockTimeout,
                         bool isSynced)
    : connection(path, HistoryMode::create, lockTimeout) {
    if (isSynced) {
        connection.database.Run("PRAGMA synchronous=FULL");
    }
}

BatchWriter::Result BatchWriter::Write(const std::vector<QueuedSample>& batch) {
    try {
        Result result;
        touched.clear();
        Transaction transaction(connection.database, Transaction::Kind::write);
        connection.catalogue.Refresh();
        for (const QueuedSample& queued : batch) {
            try {
                RowWriter& rows = RowsFor(queued);
                if (queued.isOnlyIfNew && rows.ContainsFormer(queued.sample)) {
                    ++result.skipped;
                } else {
                    rows.Insert(queued.sample);
                    ++result.written;
                }
            } catch (const HistoryException&) {
                throw;
            } catch (const std::bad_alloc&) {
                throw;
            } catch (const std::exception& error) {  // only this sample's fault
                ++result.refused;
                result.refusal = error.what();
            }
        }
        for (RowWriter* const rows : touched) {
            rows->SaveCounts();
        }
        transaction.Commit();
        return result;
    } catch (...) {
        Forget();
        throw;
    }
}

RowWriter& BatchWriter::RowsFor(const QueuedSample& queued) {
    const StreamType* const type = queued.sample.GetStreamType();
    if (type == nullptr) {
        throw std::invalid_argument("A sample without a stream type cannot be kept.");
    }
    Target& target = targets[queued.path];
    RowWriter* rows = target.rows;
    if (rows == nullptr || target.layoutNumber != type->GetLayoutNumber()) {
        rows = &RowsOf(connection.catalogue.FindOrAdd(*queued.path, *type));
        target = {type->GetLayoutNumber(), rows};
    }
    if (!rows->IsCounting()) {
        touched.push_back(rows);
        rows->LoadCounts();
    }
    return *rows;
}

RowWriter& BatchWriter::RowsOf(const std::shared_ptr<const StoredLayout>& layout) {
    const auto found = rowsByLayout.find(layout->GetId());
    if (found != rowsByLayout.end()) {
        return found->second;
    }
    const Database& database = connection.database;
    const std::int64_t last = database.GetNumber("SELECT max(seq) FROM " + layout->Get().table);
    const std::int64_t former = formerRows.emplace(layout->GetId(), last).first->second;
    return rowsByLayout.try_emplace(layout->GetId(), database, layout, former).first->second;
}

// What was made in the transaction has gone with it.
void BatchWriter::Forget() {
    targets.clear();
    touched.clear();
    rowsByLayout.clear();
    connection.catalogue.Forget();
}

std::uint64_t BatchWriter::Retain(const HistoryRetention& limits, const Poco::Timestamp& now,
                                  std::uint64_t maxRows) {
    Transaction transaction(connection.database, Transaction::Kind::write);
    connection.catalogue.Refresh();
    const std::uint64_t deleted =
        DeleteSurplus(connection.database, connection.catalogue, limits, now, maxRows);
    transaction.Commit();
    return deleted;
}

}  // namespace velmora::storage
