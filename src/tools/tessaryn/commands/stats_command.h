// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/source_options.h"

#include <CLI/CLI.hpp>

#include <string>

namespace velmora::tool {

/// The command line of `tessaryn stats`.
struct StatsOptions {
    SourceOptions source;
    std::string window;
    std::string output = "text";
};

/// Adds the subcommand.
/// \param options \ownership observes: set when the command line is parsed
CLI::App* AddStatsCommand(CLI::App& app, StatsOptions& options);

/// Prints figures of the numbers of the sources.
/// \throws CommandError when an option or the input is bad
void RunStats(const StatsOptions& options);

}  // namespace velmora::tool
