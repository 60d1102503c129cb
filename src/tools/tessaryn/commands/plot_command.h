// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/source_options.h"

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace velmora::tool {

/// The command line of `tessaryn plot`.
struct PlotOptions {
    SourceOptions source;
    std::vector<std::string> rules;
    std::string ruleFile;
    bool allowUnknown = false;
    std::string to;
};

/// Adds the subcommand.
/// \param options \ownership observes: set when the command line is parsed
CLI::App* AddPlotCommand(CLI::App& app, PlotOptions& options);

/// Draws the numbers of the sources, and when rules were true.
/// \throws CommandError when an option or the input is bad, or the file cannot be written
void RunPlot(const PlotOptions& options);

}  // namespace velmora::tool
