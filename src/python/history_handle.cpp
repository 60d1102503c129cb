// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "history_handle.h"

#include "errors.h"

namespace velmora::python {

void HistoryHandle::Close() {
    const std::lock_guard lock(guard);
    history.reset();
}

bool HistoryHandle::IsClosed() const {
    const std::lock_guard lock(guard);
    return !history.has_value();
}

void HistoryHandle::CheckOpen() const {
    if (!history) {
        throw DeadReference("The history was closed.");
    }
}

}  // namespace velmora::python
