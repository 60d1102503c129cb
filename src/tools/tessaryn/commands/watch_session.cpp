// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/watch_session.h"

#include "command_error.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <unistd.h>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

WatchSession::WatchSession(const WatchOptions& options, tsn::Document* document)
    : options(options),
      output(signals),
      progress(!options.source.quiet && isatty(STDERR_FILENO) != 0),
      settings(MakeSourceSettings(options.source)),
      run{options,
          MakeWatchFilter(options),
          ParseRules(options.rules, options.ruleFile),
          document,
          output,
          TimePrinter(options.source.outZone),
          std::exchange(settings.table.columns, {})} {
    if (isatty(STDOUT_FILENO) != 0) {
        output.BeforeWrite([this] { progress.Clear(); });
    }
    if (!options.duration.empty()) {
        signals.StopAfter(ParseDurationOption("--for", options.duration));
    }
}

bool WatchSession::HasMatches() const {
    return std::any_of(run.rules.begin(), run.rules.end(), [](const NamedRule& rule) {
        return rule.isEverySample || rule.matches > 0;
    });
}

void WatchSession::ReadAll() {
    RowVisitor visitor;
    WatchedStream* stream = nullptr;
    const tsn::StreamType* type = nullptr;
    visitor.opened = [&](const SourceRow& opened) {
        // A source of a single stream opens it even if it has no rows.
        stream = options.source.streamColumn.empty() ? &GetStream(opened) : nullptr;
        type = &opened.type;
    };
    visitor.row = [&](const SourceRow& row) {
        if (stream == nullptr || stream->GetName() != row.stream || type != &row.type) {
            stream = &GetStream(row);
            type = &row.type;
        }
        Push(*stream, row.source);
    };
    // Matches found so far are written before the run waits for more input.
    visitor.beforeWait = [this] { output.Flush(); };
    visitor.isOver = [this] { return output.IsClosed(); };
    counts = ReadSources(options.source, settings, signals, progress, visitor).counts;
    for (const auto& [name, each] : streams) {
        each->Flush();
    }
}

// The stream of a name; opens it for the entries of a source.
WatchedStream& WatchSession::GetStream(const SourceRow& row) {
    const auto place = streams.find(row.stream);
    if (place != streams.end()) {
        place->second->CheckEntries(row.type);
        return *place->second;
    }
    try {
        auto opened = std::make_unique<WatchedStream>(std::string(row.stream), row.type,
                                                      row.source.GetUnits(), run);
        return *streams.emplace(row.stream, std::move(opened)).first->second;
    } catch (const std::invalid_argument& error) {
        const std::string file = options.load.empty() ? "" : options.load + ": ";
        throw CommandError(file + error.what());
    }
}

void WatchSession::Push(WatchedStream& stream, SampleSource& source) {
    try {
        stream.Push(source);
    } catch (const CommandError&) {
        throw;
    } catch (const std::exception&) {
        const std::string failure = stream.DescribeFailure();
        if (!failure.empty()) {
            throw CommandError(source.GetPosition() + ": " + failure);
        }
        throw;
    }
}

void WatchSession::Run() {
    std::exception_ptr failure;
    try {
        ReadAll();
    } catch (...) {
        failure = std::current_exception();
    }
    output.Flush();
    progress.Clear();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace velmora::tool
