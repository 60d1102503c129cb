// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/source_options.h"
#include "source/sample_source.h"
#include "terminal/signal_watcher.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream_type.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// A row of a source, valid until the next one.
struct Row {
    std::string_view stream;
    const core::tessaryn::StreamType& type;
    /// With the time of the row.
    core::tessaryn::Sample& sample;
    std::int64_t time;
    const std::vector<std::string>& units;
};

/// What reading rows led to.
struct RowLoopResult {
    std::uint64_t rows = 0;
    SourceCounts counts;
};

/// Reads all rows of the sources that lie in the range of times, with progress and notes on
/// standard error.
/// \param signals \ownership observes: a signal ends reading
/// \throws CommandError when an option or a source is bad
RowLoopResult ForEachRow(const SourceOptions& options, SignalWatcher& signals,
                         const std::function<void(const Row&)>& visit);

/// Prints how many rows were read, and what was missing.
void PrintRowSummary(const RowLoopResult& result);

}  // namespace velmora::tool
