// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node_tree.h"
#include "serializer/read_limits.h"
#include "storage/export.h"

#include <string>

/// \file
/// Node trees as files, XML or JSON by the ending of their path, ".xml" or ".json" in upper or
/// lower case.

namespace velmora::storage {

/// Whether a path ends in ".xml" or ".json".
STORAGE_API bool IsDocumentPath(const std::string& path);

/// Reads a tree.
/// \throws StorageException when the path has another ending, the file cannot be read or exceeds a
/// limit, or its text is malformed, with line and column
STORAGE_API core::serialization::NodeTree LoadTree(
    const std::string& path, const core::serialization::ReadLimits& limits = {});

/// Replaces a file by a tree in one step, as `FileReplacement` does.
/// \throws StorageException when the path has another ending, or the file cannot be written; the
/// old file stays
STORAGE_API void SaveTree(const std::string& path, const core::serialization::NodeTree& tree);

}  // namespace velmora::storage
