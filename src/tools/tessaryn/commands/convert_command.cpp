// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/convert_command.h"

#include "command_error.h"
#include "commands/source_options.h"
#include "storage/document_file.h"
#include "terminal/message.h"
#include "terminal/progress_bar.h"
#include "terminal/signal_watcher.h"
#include "text/escaped_text.h"
#include "transfer/open_transfer.h"
#include "transfer/resampler.h"

#include <Poco/StringTokenizer.h>

#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

namespace velmora::tool {

namespace {

constexpr const char* details =
    R"(The endings determine the forms: .xml and .json are documents, .db is a history, .csv is
a table with a header, .ndjson has a JSON object a line; any other file to read is a
table, read as "tessaryn watch" does. A document converted to the other form and back is
the same, byte for byte, unless samples were selected. A table has the column "stream"
where there are several streams, which --stream-by stream reads back, and arrays with ";"
between their elements. What a form cannot hold is reported. A history has the order of
time. TO is replaced atomically, but a history must be new; on failure it is unchanged.

With --every, an entry of one number gets the figure that --take names or, of several, one
entry each: x_mean, x_min and so on. Of texts and arrays, the last one stays. Intervals
are multiples of their length since 1970 in UTC, and their samples have the time of their
begin; those without a sample are left out.)";

SourceSettings MakeSettings(const ConvertOptions& options) {
    SourceSettings settings;
    settings.maxMemory = options.maxMemory;
    settings.table.timeColumn = options.timeColumn;
    settings.table.streamColumn = options.streamColumn;
    settings.table.zone = options.zone;
    for (const std::string& text : options.types) {
        settings.table.types.push_back(ParseColumnType(text));
    }
    // A table without a column of streams has one stream, which the user may name.
    const bool isName = options.filter.stream.find_first_of("*>") == std::string::npos;
    settings.streamName = isName ? options.filter.stream : "";
    return settings;
}

std::vector<std::string> SplitFigures(const std::string& list) {
    const Poco::StringTokenizer figures(
        list, ",", Poco::StringTokenizer::TOK_TRIM | Poco::StringTokenizer::TOK_IGNORE_EMPTY);
    if (figures.count() == 0) {
        throw CommandError("--take names no figure: mean, min, max or last");
    }
    return {figures.begin(), figures.end()};
}

void ConvertSamples(const ConvertOptions& options) {
    SignalWatcher signals;
    const auto reader = MakeReader(options.from, MakeSettings(options), signals);
    SampleFilter filter(options.filter, *reader);
    std::optional<Resampler> resampler;
    if (!options.every.empty()) {
        resampler.emplace(filter.GetStreams(), ParseDurationOption("--every", options.every),
                          SplitFigures(options.figures));
    }
    const auto writer =
        MakeWriter(options.to, resampler ? resampler->GetStreams() : filter.GetStreams(),
                   reader->GetSeparator());
    ProgressBar progress(!options.quiet && isatty(STDERR_FILENO) != 0);
    constexpr unsigned int samplesBetweenPolls = 1000;
    for (std::uint64_t count = 1; filter.Next(); ++count) {
        if (resampler) {
            resampler->Add(filter.GetPath(), filter.GetSample(), *writer);
        } else {
            writer->Write(filter.GetPath(), filter.GetSample());
        }
        if (count % samplesBetweenPolls == 0) {
            const SourceProgress read = reader->GetProgress();
            if (read.bytes > 0) {
                progress.Update(read.bytesRead, read.bytes, count);
            } else {
                progress.Update(count);
            }
            signals.WaitReadable(-1, SignalWatcher::Clock::now());
            if (signals.IsStopped()) {
                throw CommandError("interrupted before " + Quoted(options.to) + " was written");
            }
        }
    }
    if (resampler) {
        resampler->Finish(*writer);
    }
    writer->Finish();
    progress.Clear();
    if (!options.quiet) {
        for (const std::string& loss : writer->GetLosses()) {
            PrintMessage("note: ", loss);
        }
    }
}

}  // namespace

CLI::App* AddConvertCommand(CLI::App& app, ConvertOptions& options) {
    CLI::App* const convert =
        app.add_subcommand("convert", "Write the samples of a file in another form");
    convert
        ->add_option("FROM", options.from,
                     "File to read: .xml, .json, .db, or a table as watch reads it")
        ->required();
    convert->add_option("TO", options.to, "File to write: .xml, .json, .db, .csv or .ndjson")
        ->required();
    AddFilterOptions(*convert, options.filter);
    AddListOption(*convert, "--type", options.types, "Value type of a table's column; repeatable",
                  "NAME:TYPE[:COUNT]");
    convert->add_option("--time", options.timeColumn, "Column of a table that holds the time")
        ->type_name("COLUMN");
    convert
        ->add_option("--stream-by", options.streamColumn,
                     "Column of a table whose values name the streams")
        ->type_name("COLUMN");
    convert->add_option("--zone", options.zone, "Zone of a table's times, UTC unless given")
        ->type_name("ZONE");
    convert
        ->add_option("--every", options.every,
                     "Write one sample for each interval such as 1m, of what lies in it")
        ->type_name("DURATION");
    convert
        ->add_option("--take", options.figures,
                     "What of each number in an interval is written: mean unless given, min, max, "
                     "last")
        ->type_name("FIGURE,...");
    convert->add_flag("--quiet", options.quiet, "Print no notes");
    AddMemoryOption(*convert, options.maxMemory);
    convert->footer(details);
    return convert;
}

void RunConvert(const ConvertOptions& options) {
    if (GetFileKind(options.to) == FileKind::document && options.filter.IsEmpty() &&
        options.every.empty() && storage::IsDocumentPath(options.from)) {
        core::serialization::ReadLimits limits;
        limits.maxMemory = options.maxMemory;
        storage::SaveTree(options.to, storage::LoadTree(options.from, limits));
        return;
    }
    ConvertSamples(options);
}

}  // namespace velmora::tool
