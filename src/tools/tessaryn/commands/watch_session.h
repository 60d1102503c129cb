// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/row_loop.h"
#include "commands/source_options.h"
#include "commands/watch_options.h"
#include "commands/watched_stream.h"
#include "source/sample_source.h"
#include "storage/document.h"
#include "terminal/progress_bar.h"
#include "terminal/signal_watcher.h"
#include "terminal/standard_output.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace velmora::tool {

/// One run of `tessaryn watch`: reads the sources into streams and reports matches.
class WatchSession {
  public:
    /// \param options \ownership observes
    /// \param document \ownership observes: where the streams are kept; null if they are not kept
    /// \throws CommandError when an option is bad or a source does not exist
    WatchSession(const WatchOptions& options, core::tessaryn::Document* document);
    WatchSession(const WatchSession&) = delete;
    WatchSession& operator=(const WatchSession&) = delete;

    /// Runs until the sources end, the time is over, a signal arrives, or the reader of the output
    /// has gone. Matches before a failure are still written.
    /// \throws CommandError when a source is bad or a rule cannot be evaluated
    void Run();

    // The result of the run.
    using Streams = std::map<std::string, std::unique_ptr<WatchedStream>, std::less<>>;
    const Streams& GetStreams() const { return streams; }
    const std::deque<NamedRule>& GetRules() const { return run.rules; }
    /// The counts of the sources, summed up.
    const SourceCounts& GetCounts() const { return counts; }
    bool IsInterrupted() const { return signals.IsInterrupted(); }
    bool IsOutputClosed() const { return output.IsClosed(); }
    /// Whether a rule reported something, or there are no rules.
    bool HasMatches() const;

  private:
    void ReadAll();
    WatchedStream& GetStream(const SourceRow& row);
    void Push(WatchedStream& stream, SampleSource& source);

    const WatchOptions& options;
    SignalWatcher signals;
    StandardOutput output;
    ProgressBar progress;
    SourceSettings settings;
    WatchRun run;
    Streams streams;
    SourceCounts counts;
};

}  // namespace velmora::tool
