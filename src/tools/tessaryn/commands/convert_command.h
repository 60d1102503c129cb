// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace velmora::tool {

/// What the command line of `tessaryn convert` says.
struct ConvertOptions {
    std::string from;
    std::string to;
};

/// Adds the subcommand and binds its options.
/// \param app where to
/// \param options \ownership observes: receives what the command line says
CLI::App* AddConvertCommand(CLI::App& app, ConvertOptions& options);

/// Writes the tree of one document as another, node by node, whatever it means.
/// \throws CommandError when one can't be read or the other can't be written
void RunConvert(const ConvertOptions& options);

}  // namespace velmora::tool
