// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "source/open_sources.h"
#include "transfer/sample_reader.h"
#include "transfer/sample_writer.h"

#include <memory>
#include <string>
#include <vector>

namespace velmora::tool {

/// The kinds of files that samples are written to, by the ending of their path.
enum class FileKind { document, history, csv, jsonLines };

/// The kind of a path.
/// \throws CommandError when it has another ending
FileKind GetFileKind(const std::string& path);

/// Opens a file that has samples: a history, a document by its ending, or a table.
/// \param signals \ownership observes
/// \throws CommandError, storage::StorageException when it cannot be read
std::unique_ptr<SampleReader> MakeReader(const std::string& path, const SourceSettings& settings,
                                         SignalWatcher& signals);

/// Creates a writer for a new file.
/// \param streams that will be written
/// \param separator splits the paths of the streams
/// \throws CommandError, storage::StorageException when it cannot be written
std::unique_ptr<SampleWriter> MakeWriter(const std::string& path,
                                         const std::vector<StreamLayout>& streams, char separator);

}  // namespace velmora::tool
