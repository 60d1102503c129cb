// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/row_loop.h"

#include "terminal/message.h"
#include "terminal/progress_bar.h"
#include "tessaryn/sample_time.h"

#include <cstdio>
#include <unistd.h>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

void ReadRows(NamedSource& named, const TimeRange& range, SignalWatcher& signals,
              RowLoopResult& result, const std::function<void(const Row&)>& visit) {
    SampleSource& source = *named.source;
    tsn::StreamType type;
    if (!source.Open(type)) {
        return;
    }
    const std::vector<std::string> units = source.GetUnits();
    tsn::Sample sample(&type, Poco::Timestamp(0));
    while (!signals.IsStopped() && source.Next()) {
        const std::int64_t time = source.GetTime();
        if (!range.Contains(time)) {
            continue;
        }
        source.Fill(sample);
        tsn::SetTimeStamp(sample, Poco::Timestamp(time));
        const std::string_view own = source.GetStreamName();
        visit({own.empty() ? std::string_view(named.stream) : own, type, sample, time, units});
        ++result.rows;
    }
}

}  // namespace

RowLoopResult ForEachRow(const SourceOptions& options, SignalWatcher& signals,
                         const std::function<void(const Row&)>& visit) {
    const SourceSettings settings = MakeSourceSettings(options);
    const TimeRange range = MakeTimeRange(options);
    ProgressBar progress(!options.quiet && isatty(STDERR_FILENO) != 0);
    RowLoopResult result;
    const std::vector<std::string> paths = ExpandSources(options.sources);
    for (const std::string& path : paths) {
        for (NamedSource& each : OpenSources(path, paths, settings, signals)) {
            each.source->BeforeWait([&](const SourceProgress& read) {
                progress.Update(read.bytesRead, read.bytes, result.rows);
            });
            if (!options.stream.empty()) {
                each.stream = options.stream;
            }
            ReadRows(each, range, signals, result, visit);
            result.counts.Add(each.source->GetCounts());
        }
    }
    return result;
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
