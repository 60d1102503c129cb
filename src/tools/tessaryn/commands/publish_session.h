// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/row_loop.h"
#include "commands/source_options.h"

#include <cstdint>
#include <string>

namespace velmora::tool {

/// The command line of `tessaryn publish`.
struct PublishOptions {
    SourceOptions source;
    std::string to;
    std::string prefix;
    std::string duration;
};

/// The result of a run of `tessaryn publish`.
struct PublishReport {
    RowLoopResult read;
    /// Samples that an earlier run had published.
    std::uint64_t before = 0;
    /// Samples that the server acknowledged, those of them that it already had, and how often a
    /// sample was sent again.
    std::uint64_t acknowledged = 0;
    std::uint64_t duplicates = 0;
    std::uint64_t repeated = 0;
    /// Samples that were read, but not acknowledged.
    std::uint64_t unsent = 0;
    bool isInterrupted = false;
};

/// Publishes the samples of sources until they end, the time is over, or a signal arrives.
/// \throws CommandError when an option or a source is bad, or the server has no JetStream
PublishReport PublishSources(const PublishOptions& options);

}  // namespace velmora::tool
