// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/named_rule.h"
#include "commands/row_loop.h"
#include "commands/source_options.h"
#include "storage/history_writer.h"
#include "terminal/progress_bar.h"
#include "terminal/signal_watcher.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace velmora::tool {

/// The command line of `tessaryn record`.
struct RecordOptions {
    SourceOptions source;
    std::string to;
    std::vector<std::string> rules;
    std::string ruleFile;
    bool allowUnknown = false;
    std::string before;
    std::string after;
    std::string duration;
    std::string keep = "matches";
};

/// One run of `tessaryn record`: reads the sources and writes the selected samples to a history.
class RecordSession {
  public:
    /// Opens or creates the history.
    /// \param options \ownership observes
    /// \throws CommandError when an option is bad
    /// \throws storage::HistoryException
    explicit RecordSession(const RecordOptions& options);
    RecordSession(const RecordSession&) = delete;
    RecordSession& operator=(const RecordSession&) = delete;
    ~RecordSession();

    /// Runs until the sources end, the time is over, or a signal arrives; then writes the samples
    /// that wait.
    /// \throws CommandError when a source is bad or a rule cannot be evaluated
    /// \throws storage::HistoryException when the history cannot be written
    void Run();

    // The result of the run.
    /// Samples read.
    std::uint64_t GetSamples() const { return samples; }
    storage::HistoryWriterStatistics GetStatistics() const { return writer->GetStatistics(); }
    /// Why writing failed the last time.
    std::string GetError() const;
    bool IsInterrupted() const { return signals.IsInterrupted(); }
    /// Whether a rule matched, or there are no rules.
    bool HasMatches() const;

  private:
    class Recorder;

    void ReadAll();
    Recorder& GetRecorder(std::string_view name, const core::tessaryn::StreamType& type);
    void OnError(const std::string& what);

    const RecordOptions& options;
    // Constructed before the writer's thread, which inherits the signal mask.
    SignalWatcher signals;
    ProgressBar progress;
    SourceSettings settings;
    std::vector<std::string> columns;
    std::chrono::microseconds before{0};
    std::chrono::microseconds after{0};
    std::deque<NamedRule> rules;
    mutable std::mutex errorMutex;
    std::string error;
    // The types must outlive the samples in the writer.
    std::map<std::string, std::unique_ptr<Recorder>, std::less<>> recorders;
    std::unique_ptr<storage::HistoryWriter> writer;
    std::uint64_t samples = 0;
};

}  // namespace velmora::tool
