// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace velmora::tool {

/// The command line of `tessaryn serve`.
struct ServeOptions {
    std::string config = "/etc/tessaryn/plant.toml";
    bool checkOnly = false;
};

/// Adds the command to the program.
/// \param options \ownership observes: set when the command line is parsed
CLI::App* AddServeCommand(CLI::App& app, ServeOptions& options);

/// Runs the service until a signal ends it, or checks its configuration.
/// \return the exit status
int RunServe(const ServeOptions& options);

}  // namespace velmora::tool
