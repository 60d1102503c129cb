// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/list_samples.h"
#include "commands/memory_option.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>

namespace velmora::tool {

/// The command line of `tessaryn show`.
struct ShowOptions {
    std::string file;
    std::string path;
    std::string output = "text";
    ListOptions list;
    std::uint64_t maxMemory = defaultMaxMemory;
};

/// Adds the subcommand.
/// \param options \ownership observes: set when the command line is parsed
CLI::App* AddShowCommand(CLI::App& app, ShowOptions& options);

/// Prints the types and streams of a document.
/// \throws CommandError when the document cannot be read, or has nothing at the path
void RunShow(const ShowOptions& options);

}  // namespace velmora::tool
