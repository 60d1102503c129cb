// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace velmora::tool {

/// What the command line of `tessaryn show` says.
struct ShowOptions {
    std::string file;
    std::string path;
    std::string output = "text";
};

/// Adds the subcommand and binds its options.
/// \param app where to
/// \param options \ownership observes: receives what the command line says
CLI::App* AddShowCommand(CLI::App& app, ShowOptions& options);

/// Prints the types and streams of a document.
/// \throws CommandError when it can't be read, or has nothing of the path
void RunShow(const ShowOptions& options);

}  // namespace velmora::tool
