// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/watch_options.h"

#include <CLI/CLI.hpp>

namespace velmora::tool {

/// Adds the subcommand.
/// \param options \ownership observes: set when the command line is parsed
CLI::App* AddWatchCommand(CLI::App& app, WatchOptions& options);

/// Reads the sources into streams and reports matches, until the sources end, the time is over, a
/// signal arrives, or the reader of the output has gone; then saves the document if requested.
/// \return the exit status
/// \throws CommandError when an option or the input is bad
int RunWatch(const WatchOptions& options);

}  // namespace velmora::tool
