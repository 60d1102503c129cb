// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/storage_exception.h"

namespace velmora::storage {

StorageException::StorageException(const std::string& path, const std::string& message)
    : BaseException(message), path(path) {}

StorageException::~StorageException() = default;

}  // namespace velmora::storage
