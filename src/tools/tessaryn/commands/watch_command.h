// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/memory_option.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// The command line of `tessaryn watch`.
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
    std::uint64_t maxMemory = defaultMaxMemory;
    bool skipBad = false;
    bool quiet = false;
};

/// Adds the subcommand.
/// \param options \ownership observes: set when the command line is parsed
CLI::App* AddWatchCommand(CLI::App& app, WatchOptions& options);

/// Reads the source into a stream and reports matches, until the source ends, the time is over, a
/// signal arrives, or nobody reads the output any more; then saves the document, if asked to.
/// \throws CommandError when an option or the input is bad
void RunWatch(const WatchOptions& options);

}  // namespace velmora::tool
