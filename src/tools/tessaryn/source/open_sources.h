// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "csv/csv_layout.h"
#include "remote/nats_settings.h"
#include "source/sample_source.h"
#include "terminal/input_file.h"
#include "terminal/signal_watcher.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace velmora::tool {

/// Options for reading sources.
struct SourceSettings {
    CsvOptions table;
    /// Name of the stream that all sources are read into; empty if each has its own.
    std::string streamName;
    /// Whether a file is followed as it grows, and when another file replaces it.
    bool follow = false;
    /// Bytes that the nodes of a document may take, and as many for its samples.
    std::uint64_t maxMemory = 0;
    NatsSettings nats{};
};

/// A source and the stream that it is read into.
struct NamedSource {
    std::string stream;
    std::unique_ptr<SampleSource> source;
};

/// The paths that the arguments name: "-", "host", URLs of NATS servers, files, and patterns such
/// as "*.csv" where no file has that name.
/// \throws CommandError when a file does not exist, or a pattern matches none
std::vector<std::string> ExpandSources(const std::vector<std::string>& arguments);

/// Opens what a path names: the machine itself, NATS servers, a table, or each stream of a
/// document. The content determines the kind, not the name.
/// \param paths all paths: files of the same name in different folders get streams of different
/// names
/// \param signals \ownership observes
/// \throws CommandError when the path cannot be opened, or its content is of a kind that cannot be
/// read
std::vector<NamedSource> OpenSources(const std::string& path, const std::vector<std::string>& paths,
                                     const SourceSettings& settings, SignalWatcher& signals);

/// Opens the table in an input that is open already.
/// \param defaultName name of the stream if the settings have none
/// \throws CommandError when the content is of a kind that cannot be read, or a document
NamedSource OpenTable(std::unique_ptr<InputFile> file, const std::string& defaultName,
                      const SourceSettings& settings);

}  // namespace velmora::tool
