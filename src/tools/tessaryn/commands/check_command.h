// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/memory_option.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>

namespace velmora::tool {

/// The command line of `tessaryn check`.
struct CheckOptions {
    std::string rule;
    /// FILE:PATH[@VERSION] of the type to check against; empty for none.
    std::string type;
    /// A recording with whose columns the rule is compared; empty for none.
    std::string source;
    std::uint64_t maxMemory = defaultMaxMemory;
};

/// Adds the subcommand.
/// \param options \ownership observes: set when the command line is parsed
CLI::App* AddCheckCommand(CLI::App& app, CheckOptions& options);

/// Prints a rule's tree and what `tessaryn::CheckRule` finds in it.
/// \return whether there are findings
/// \throws CommandError when the text is not a rule, or the type cannot be read
bool RunCheck(const CheckOptions& options);

}  // namespace velmora::tool
