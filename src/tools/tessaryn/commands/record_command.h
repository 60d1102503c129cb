// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/record_session.h"

#include <CLI/CLI.hpp>

namespace velmora::tool {

/// Adds the subcommand.
/// \param options \ownership observes: set when the command line is parsed
CLI::App* AddRecordCommand(CLI::App& app, RecordOptions& options);

/// Writes the samples of sources to a history until they end, the time is over, or a signal
/// arrives.
/// \return the exit status
/// \throws CommandError, storage::HistoryException when a source is bad, or the history cannot be
/// written; samples read before are written to the history if possible
int RunRecord(const RecordOptions& options);

}  // namespace velmora::tool
