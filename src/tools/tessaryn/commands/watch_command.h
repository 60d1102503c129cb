// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "csv/csv_layout.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// What the command line of `tessaryn watch` says.
struct WatchOptions {
    std::string source;
    std::vector<std::string> rules;
    std::string stream;
    std::vector<std::string> types;
    std::string timeColumn;
    std::optional<long> maxSize;
    std::string every;
    std::string duration;
    std::string output = "text";
    std::string save;
    std::string load;
    bool skipBad = false;
    bool quiet = false;
};

/// Adds the subcommand and binds its options.
/// \param app where to
/// \param options \ownership observes: receives what the command line says
CLI::App* AddWatchCommand(CLI::App& app, WatchOptions& options);

/// Reads the source, pushes its samples into a stream, and reports what the rules ask for, until
/// the source ends, the time is over, a signal comes, or nobody reads the output any more.
/// \throws CommandError when an option or the input is bad
void RunWatch(const WatchOptions& options);

}  // namespace velmora::tool
