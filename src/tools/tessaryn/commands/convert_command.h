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
    /// Interval whose samples are combined into one; empty to write the samples unchanged.
    std::string every;
    /// The figures of each number that are written then.
    std::string figures = "mean";
    bool quiet = false;
    std::uint64_t maxMemory = defaultMaxMemory;
};

/// Adds the subcommand.
/// \param options \ownership observes: set when the command line is parsed
CLI::App* AddConvertCommand(CLI::App& app, ConvertOptions& options);

/// Converts the samples of one file to another. A document that is written as a whole to another
/// document is copied as a tree, whatever it contains.
/// \throws CommandError, storage::StorageException when one cannot be read or the other cannot be
/// written
void RunConvert(const ConvertOptions& options);

}  // namespace velmora::tool
