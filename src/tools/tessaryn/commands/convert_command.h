// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/memory_option.h"
#include "transfer/sample_filter.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace velmora::tool {

/// The command line of `tessaryn convert`.
struct ConvertOptions {
    std::string from;
    std::string to;
    FilterOptions filter;
    std::vector<std::string> types;
    std::string timeColumn;
    std::string streamColumn;
    std::string zone;
    /// Interval of which one sample is made; empty to write the samples as they are.
    std::string every;
    /// What of each number is written then.
    std::string figures = "mean";
    bool quiet = false;
    std::uint64_t maxMemory = defaultMaxMemory;
};

/// Adds the subcommand.
/// \param options \ownership observes: set when the command line is parsed
CLI::App* AddConvertCommand(CLI::App& app, ConvertOptions& options);

/// Writes the samples of one file as another. All of a document as a document is its tree, whether
/// or not it is one of types and streams.
/// \throws CommandError, storage::StorageException when one cannot be read or the other cannot be
/// written
void RunConvert(const ConvertOptions& options);

}  // namespace velmora::tool
