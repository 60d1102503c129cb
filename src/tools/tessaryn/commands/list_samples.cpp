// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/list_samples.h"

#include "terminal/sample_reporter.h"
#include "terminal/signal_watcher.h"
#include "terminal/standard_output.h"
#include "transfer/open_transfer.h"

#include <deque>
#include <memory>
#include <vector>

namespace velmora::tool {

void AddListOptions(CLI::App& command, ListOptions& options) {
    AddFilterOptions(command, options.filter);
    command.add_option("--head", options.head, "List the first samples")->type_name("COUNT");
    command.add_option("--tail", options.tail, "List the last samples")
        ->type_name("COUNT")
        ->excludes("--head");
    command.add_option("--out-zone", options.zone, "Zone of the times listed, UTC unless given")
        ->type_name("ZONE");
}

void ListSamples(const std::string& file, const ListOptions& options, bool asJson,
                 std::uint64_t maxMemory) {
    SourceSettings settings;
    settings.maxMemory = maxMemory;
    SignalWatcher signals;
    const auto reader = MakeReader(file, settings, signals);
    SampleFilter filter(options.filter, *reader);
    TimePrinter times(options.zone);
    std::vector<std::unique_ptr<SampleReporter>> reporters;
    for (const StreamLayout& stream : filter.GetStreams()) {
        const LineSettings line{stream.path, stream.units, {}, &times};
        reporters.push_back(asJson ? MakeJsonReporter(line, *stream.type)
                                   : MakeTextReporter(line, *stream.type));
    }
    const std::string rule = options.filter.rule.empty() ? "*" : options.filter.rule;
    LayoutIndex layouts(filter.GetStreams());
    StandardOutput output(signals);
    std::deque<std::string> last;
    for (std::size_t count = 0; count != options.head && !output.IsClosed() && filter.Next();
         ++count) {
        const core::tessaryn::Sample& sample = filter.GetSample();
        const SampleReporter& reporter =
            *reporters[layouts.Find(filter.GetPath(), *sample.GetStreamType())];
        if (!options.tail) {
            reporter.Report(output.GetBuffer(), {rule}, sample);
            output.Commit();
        } else if (options.tail != 0U) {
            if (last.size() == options.tail) {
                last.pop_front();
            }
            reporter.Report(last.emplace_back(), {rule}, sample);
        }
    }
    for (const std::string& line : last) {
        output.GetBuffer() += line;
        output.Commit();
    }
    output.Flush();
}

}  // namespace velmora::tool
