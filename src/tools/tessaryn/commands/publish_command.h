// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/publish_session.h"

#include <CLI/CLI.hpp>

namespace velmora::tool {

/// Adds the subcommand.
/// \param options \ownership observes: set when the command line is parsed
CLI::App* AddPublishCommand(CLI::App& app, PublishOptions& options);

/// Publishes the samples of sources until they end, the time is over, or a signal arrives.
/// \return the exit status
/// \throws CommandError when an option or a source is bad
int RunPublish(const PublishOptions& options);

}  // namespace velmora::tool
