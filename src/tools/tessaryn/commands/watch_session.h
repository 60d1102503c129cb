// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/rule_watch.h"
#include "commands/watch_options.h"
#include "commands/watched_stream.h"
#include "source/sample_source.h"
#include "storage/document.h"
#include "terminal/progress_bar.h"
#include "terminal/signal_watcher.h"
#include "terminal/standard_output.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

namespace velmora::tool {

/// One run of `tessaryn watch`: reads the source into the stream and reports matches.
class WatchSession {
  public:
    /// \param options \ownership observes
    /// \param document \ownership observes: where the stream is kept; null for nowhere
    /// \throws CommandError when an option is bad or the source does not exist
    WatchSession(const WatchOptions& options, core::tessaryn::Document* document);
    WatchSession(const WatchSession&) = delete;
    WatchSession& operator=(const WatchSession&) = delete;

    /// Runs until the source ends, the time is over, a signal arrives, or nobody reads the output
    /// any more. What matched before a failure is still written.
    /// \throws CommandError when the source is bad or a rule cannot be evaluated
    void Run();

    // What the run led to.
    const WatchedStream& GetStream() const { return stream; }
    const std::deque<RuleWatch>& GetRules() const { return rules; }
    const SampleSource& GetSource() const { return *source; }
    /// Samples read from the source.
    std::uint64_t GetSamples() const { return samples; }
    bool IsInterrupted() const { return signals.IsInterrupted(); }
    bool IsOutputClosed() const { return output.IsClosed(); }

  private:
    void MakeRules();
    void MakeSource();
    bool Open();
    void ReadAll();
    void PushAll();
    void Warn(const char* prefix, const std::string& sentence);

    const WatchOptions& options;
    core::tessaryn::Document* document;
    SignalWatcher signals;
    StandardOutput output;
    ProgressBar progress;
    // The stream's delegates point to the elements, whose addresses must not change.
    std::deque<RuleWatch> rules;
    std::unique_ptr<SampleSource> source;
    std::unique_ptr<SampleReporter> reporter;
    WatchedStream stream;
    std::uint64_t samples = 0;
};

}  // namespace velmora::tool
