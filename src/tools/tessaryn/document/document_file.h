// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/node_tree.h"

#include <cstdint>
#include <string>

namespace velmora::tool {

/// Refuses a path that ends neither in ".xml" nor in ".json", in upper or lower case.
/// \throws CommandError
void CheckEnding(const std::string& path);

/// Refuses a path that cannot be written. Changes nothing.
/// \throws CommandError
void CheckWritable(const std::string& path);

/// Reads a document in the format of its ending.
/// \param maxMemory bytes that its nodes may take
/// \throws CommandError with the file's name and the reason, line and column included
core::serialization::NodeTree ReadTree(const std::string& path, std::uint64_t maxMemory);

/// Replaces a document atomically, in the format of its ending.
/// \throws CommandError with the file's name and the reason
void WriteTree(const core::serialization::NodeTree& tree, const std::string& path);

}  // namespace velmora::tool
