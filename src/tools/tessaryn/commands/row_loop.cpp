// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/row_loop.h"

#include "terminal/message.h"
#include "tessaryn/sample_time.h"

#include <cstdio>
#include <optional>
#include <unistd.h>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

void PrintNotes(const SampleSource& source, ProgressBar& progress) {
    for (const std::string& note : source.GetNotes()) {
        progress.Clear();
        PrintMessage("note: ", note);
    }
}

}  // namespace

RowLoopResult ReadSources(const SourceOptions& options, const SourceSettings& settings,
                          SignalWatcher& signals, ProgressBar& progress,
                          const RowVisitor& visitor) {
    const TimeRange range = MakeTimeRange(options);
    const bool isJoined = !options.stream.empty();
    RowLoopResult result;
    const auto read = [&](const NamedSource& named) {
        SampleSource& source = *named.source;
        source.BeforeWait([&](const SourceProgress& done) {
            if (visitor.beforeWait) {
                visitor.beforeWait();
            }
            progress.Update(done.bytesRead, done.bytes, result.rows);
        });
        tsn::StreamType type;
        if (!source.Open(type)) {
            return;
        }
        if (!options.quiet) {
            PrintNotes(source, progress);
        }
        const bool hasRowTypes = source.HasRowTypes();
        if (visitor.opened && !hasRowTypes) {
            visitor.opened({named.stream, type, source});
        }
        while (!signals.IsStopped() && !(visitor.isOver && visitor.isOver()) && source.Next()) {
            if (range.Contains(source.GetTime())) {
                const std::string_view own = source.GetStreamName();
                visitor.row({own.empty() || isJoined ? std::string_view(named.stream) : own,
                             hasRowTypes ? *source.GetRowType() : type, source});
                ++result.rows;
            }
        }
    };
    const std::vector<std::string> paths = ExpandSources(options.sources);
    for (const std::string& path : paths) {
        for (const NamedSource& each : OpenSources(path, paths, settings, signals)) {
            read(each);
            result.counts.Add(each.source->GetCounts());
        }
    }
    return result;
}

RowLoopResult ForEachRow(const SourceOptions& options, SignalWatcher& signals,
                         const std::function<void(const Row&)>& visit) {
    ProgressBar progress(!options.quiet && isatty(STDERR_FILENO) != 0);
    std::vector<std::string> units;
    std::optional<tsn::Sample> sample;
    RowVisitor visitor;
    visitor.opened = [&](const SourceRow& opened) {
        units = opened.source.GetUnits();
        sample.emplace(&opened.type, Poco::Timestamp(0));
    };
    visitor.row = [&](const SourceRow& row) {
        const std::int64_t time = row.source.GetTime();
        if (row.source.HasRowTypes() && (!sample || sample->GetStreamType() != &row.type)) {
            units.clear();
            sample.emplace(&row.type, Poco::Timestamp(0));
        }
        row.source.Fill(*sample);
        tsn::SetTimeStamp(*sample, Poco::Timestamp(time));
        visit({row.stream, row.type, *sample, time, units});
    };
    return ReadSources(options, MakeSourceSettings(options), signals, progress, visitor);
}

void PrintRowSummary(const RowLoopResult& result) {
    std::string text = Counted(result.rows, "row") + " read";
    const SourceCounts& counts = result.counts;
    if (counts.missingTimes > 0) {
        text += ", " + Counted(counts.missingTimes, "row") + " without a time left out";
    }
    if (counts.skipped > 0) {
        text += ", " + Counted(counts.skipped, "bad row") +
                " skipped, the first: " + counts.firstSkipped;
    }
    std::fprintf(stderr, "%s\n", text.c_str());
}

}  // namespace velmora::tool
