// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "storage/history.h"
#include "storage/history_reader.h"

#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace velmora::python {

/// Python's handle of a history, which can be closed, and is used by one thread at a time.
///
/// No operation needs the GIL. Call them without it.
///
/// \threadsafety guarded
class HistoryHandle {
  public:
    /// \throws storage::HistoryException
    explicit HistoryHandle(const std::string& path) : history(std::in_place, path) {}
    HistoryHandle(const HistoryHandle&) = delete;
    HistoryHandle& operator=(const HistoryHandle&) = delete;
    ~HistoryHandle() = default;

    /// Calls a function object with the history.
    /// \throws DeadReference after `Close`
    template <class Work>
    auto Use(Work work) const {
        const std::lock_guard lock(guard);
        CheckOpen();
        return work(*history);
    }
    void Close();
    bool IsClosed() const;

  private:
    void CheckOpen() const;

    mutable std::mutex guard;
    std::optional<storage::History> history;
};

}  // namespace velmora::python
