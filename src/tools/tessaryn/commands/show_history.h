// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>

namespace velmora::tool {

/// Prints the catalogue of a history: streams, types, entries, and the number and times of samples.
/// \param path of a stream or a group; empty for everything
/// \throws CommandError when there is no such stream
/// \throws storage::HistoryException when the file cannot be read
void ShowHistory(const std::string& file, const std::string& path, bool asJson);

}  // namespace velmora::tool
