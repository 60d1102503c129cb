// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_exception.h"

namespace velmora::storage {

HistoryException::HistoryException(Reason reason, const std::string& path,
                                   const std::string& message)
    : StorageException(path, "History '" + path + "': " + message), reason(reason) {}

HistoryException::~HistoryException() = default;

}  // namespace velmora::storage
