// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/source_options.h"
#include "source/sample_source.h"
#include "terminal/progress_bar.h"
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

/// The result of reading rows.
struct RowLoopResult {
    std::uint64_t rows = 0;
    SourceCounts counts;
};

/// A row that a source has read, before it becomes a sample.
struct SourceRow {
    std::string_view stream;
    core::tessaryn::StreamType& type;
    SampleSource& source;
};

/// Callbacks while sources are read. All but `row` may be empty.
struct RowVisitor {
    std::function<void(const SourceRow&)> row{};
    /// A source was opened whose rows have one type. The stream is used for rows that name none.
    std::function<void(const SourceRow&)> opened{};
    /// The source may block, waiting for data.
    std::function<void()> beforeWait{};
    /// Whether to end before the sources do.
    std::function<bool()> isOver{};
};

/// Reads all rows of the sources within the range of times; prints progress and warnings on
/// standard error.
/// \param signals \ownership observes: a signal ends reading
/// \throws CommandError when an option or a source is bad, and what the visitor throws
RowLoopResult ReadSources(const SourceOptions& options, const SourceSettings& settings,
                          SignalWatcher& signals, ProgressBar& progress, const RowVisitor& visitor);

/// As above, with a sample for each row.
/// \throws CommandError as above
RowLoopResult ForEachRow(const SourceOptions& options, SignalWatcher& signals,
                         const std::function<void(const Row&)>& visit);

/// Prints how many rows were read, and what was missing.
void PrintRowSummary(const RowLoopResult& result);

}  // namespace velmora::tool
