// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace velmora::tool {

/// What the command line of `tessaryn check` says.
struct CheckOptions {
    std::string rule;
    /// FILE:PATH[@VERSION] of the type to check against; empty for none.
    std::string type;
};

/// Adds the subcommand and binds its options.
/// \param app where to
/// \param options \ownership observes: receives what the command line says
CLI::App* AddCheckCommand(CLI::App& app, CheckOptions& options);

/// Prints a rule's tree and what in it can never have the effect that its author wants.
/// \return whether nothing was found
/// \throws CommandError when the text is no rule, or the type can't be read
bool RunCheck(const CheckOptions& options);

}  // namespace velmora::tool
