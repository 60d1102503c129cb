// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/watch_session.h"

#include "command_error.h"
#include "terminal/message.h"

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
      range(MakeTimeRange(options.source)),
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
    const std::vector<std::string> paths = ExpandSources(options.source.sources);
    for (const std::string& path : paths) {
        for (const NamedSource& each : OpenSources(path, paths, settings, signals)) {
            Read(each.stream, *each.source);
            counts.Add(each.source->GetCounts());
        }
    }
    for (const auto& [name, stream] : streams) {
        stream->Flush();
    }
}

void WatchSession::Read(const std::string& sourceStream, SampleSource& source) {
    source.BeforeWait([this](const SourceProgress& read) {
        // Matches found so far are written before the run waits for more input.
        output.Flush();
        progress.Update(read.bytesRead, read.bytes, samples);
    });
    tsn::StreamType type;
    if (!source.Open(type)) {
        return;
    }
    if (!options.source.quiet) {
        for (const std::string& note : source.GetNotes()) {
            progress.Clear();
            PrintMessage("note: ", note);
        }
    }
    const bool isJoined = !options.source.stream.empty();
    const auto nameOf = [&]() -> std::string_view {
        const std::string_view own = source.GetStreamName();
        return own.empty() || isJoined ? std::string_view(sourceStream) : own;
    };
    // A source of one stream has it also where it has no row.
    WatchedStream* stream =
        options.source.streamColumn.empty() ? &GetStream(nameOf(), type, source) : nullptr;
    while (!output.IsClosed() && !signals.IsStopped() && source.Next()) {
        if (!range.Contains(source.GetTime())) {
            continue;
        }
        if (stream == nullptr || stream->GetName() != nameOf()) {
            stream = &GetStream(nameOf(), type, source);
        }
        Push(*stream, source);
        ++samples;
    }
}

// The stream of a name; opens it for the entries of a source.
WatchedStream& WatchSession::GetStream(std::string_view name, const tsn::StreamType& type,
                                       const SampleSource& source) {
    const auto place = streams.find(name);
    if (place != streams.end()) {
        place->second->CheckEntries(type);
        return *place->second;
    }
    try {
        auto opened =
            std::make_unique<WatchedStream>(std::string(name), type, source.GetUnits(), run);
        return *streams.emplace(name, std::move(opened)).first->second;
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
