// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node_tree.h"

#include <string>

namespace velmora::tool {

/// Refuses a path that says neither ".xml" nor ".json" at its end, in any case.
/// \throws CommandError
void CheckEnding(const std::string& path);

/// Refuses a path that no document could be written to now. Nothing is changed.
/// \throws CommandError
void CheckWritable(const std::string& path);

/// Reads a document; its ending tells the form.
/// \throws CommandError with the file's name and the reason, line and column included
core::serialization::NodeTree ReadTree(const std::string& path);

/// Writes a document in the form that the ending tells, in place of the one that may be there. On
/// failure that one stays as it was.
/// \throws CommandError with the file's name and the reason
void WriteTree(const core::serialization::NodeTree& tree, const std::string& path);

}  // namespace velmora::tool
