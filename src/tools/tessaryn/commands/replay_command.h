// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "transfer/sample_filter.h"

#include <CLI/CLI.hpp>

#include <string>

namespace velmora::tool {

/// The command line of `tessaryn replay`.
struct ReplayOptions {
    std::string file;
    FilterOptions filter;
    double speed = 1;
    std::string output = "text";
    std::string zone;
};

/// Adds the subcommand.
/// \param options \ownership observes: set when the command line is parsed
CLI::App* AddReplayCommand(CLI::App& app, ReplayOptions& options);

/// Prints the samples of a history as `tessaryn watch` would, at the pace of their times.
/// \return the exit status
/// \throws CommandError, storage::HistoryException when the history cannot be read
int RunReplay(const ReplayOptions& options);

}  // namespace velmora::tool
