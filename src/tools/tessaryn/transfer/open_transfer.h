// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "transfer/sample_reader.h"
#include "transfer/sample_writer.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace velmora::tool {

/// The kinds of files that samples are written to, by the ending of their path.
enum class FileKind { document, history, csv, jsonLines };

/// The kind of a path.
/// \throws CommandError when it has another ending
FileKind GetFileKind(const std::string& path);

/// Opens a file that has samples: a history, or a document.
/// \param maxMemory bytes that the nodes of a document may take, and its samples again
/// \throws storage::StorageException when it cannot be read
std::unique_ptr<SampleReader> MakeReader(const std::string& path, std::uint64_t maxMemory);

/// Begins a new file.
/// \param streams what will be written
/// \param separator splits the paths of the streams
/// \throws CommandError, storage::StorageException when it cannot be written
std::unique_ptr<SampleWriter> MakeWriter(const std::string& path,
                                         const std::vector<StreamLayout>& streams, char separator);

}  // namespace velmora::tool
