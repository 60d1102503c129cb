// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/watch_command.h"

#include "command_error.h"
#include "commands/watch_session.h"
#include "commands/watch_summary.h"
#include "storage/document.h"
#include "storage/document_file.h"
#include "storage/file_replacement.h"
#include "terminal/message.h"
#include "text/escaped_text.h"

#include <chrono>
#include <cstdio>
#include <optional>

namespace velmora::tool {

namespace {

constexpr const char* details =
    R"(SOURCE is a CSV file with a header, "-" for CSV on standard input, or "host" for
this machine's live figures: load, cpu, memory_total, memory_available, network,
hostname. Each sample that a rule asks for is one line on standard output; without
a rule, every sample is.

Times: ISO 8601 such as 2020-01-01T00:00:00.25+01:00, 2020-01-01 00:00 or 2020-01-01;
without a zone they are UTC. The time column is the first that holds such times, or
the one of --time, which may also hold numbers that count from 1970: seconds,
milliseconds, microseconds or nanoseconds; the size of the first number decides which.

Types: a column is text if its first value is not a number, else Double or Int64,
inferred from up to 10,000 rows; --type overrides that. A value of several elements is written
with ";" or blanks between them. In an entry's name "_"
replaces each character of the column's title that a rule cannot spell. Rows with one
field more than the header begin with a row name, the entry "row".

Durations: 250ms, 3s, 2m, 1h; a number without a unit counts seconds.

--save writes all types and streams, with the samples that the rings hold, into one
document when the source ends, also after a signal (SIGINT, SIGTERM, SIGHUP) or when
nobody reads the output any more, but not when the program fails; FILE is replaced
atomically. --load starts from such a
document: a stream of the same name continues, with its samples and their times, if the
source has the same entries; otherwise a stream is added. NAME may hold groups:
plant/line1.

Exit status: 0 on success, also when interrupted or when nobody reads the output any
more; 2 when the command line, a rule or the input is bad.)";

// Writes the document of a run that opened its stream.
void Save(const core::tessaryn::Document& document, const WatchSession& session,
          const WatchOptions& options) {
    const WatchedStream& stream = session.GetStream();
    const std::uint64_t kept = stream.CountSamples();
    const bool dropped = stream.CountDropped(session.GetSamples()) > 0;
    storage::SaveDocument(options.save, document);
    if (options.quiet) {
        return;
    }
    std::string text = "saved to ";
    AppendEscaped(text, options.save);
    if (dropped) {
        text += "; --max-size keeps more than the last " + Counted(kept, "sample");
    }
    std::fprintf(stderr, "%s\n", text.c_str());
}

// Refuses a path that cannot be written, before anything is read.
void CheckWritable(const std::string& path) {
    if (!storage::IsDocumentPath(path)) {
        throw CommandError(Quoted(path) + " does not end in .xml or .json");
    }
    const storage::FileReplacement attempt(path);
}

// Adds an option that may be repeated, with one value each time.
void AddList(CLI::App& app, const char* option, std::vector<std::string>& values,
             const char* description, const char* valueName) {
    app.add_option_function<std::string>(
           option, [&values](const std::string& text) { values.push_back(text); }, description)
        ->trigger_on_parse()
        ->type_name(valueName);
}

}  // namespace

CLI::App* AddWatchCommand(CLI::App& app, WatchOptions& options) {
    CLI::App* const watch =
        app.add_subcommand("watch", "Read samples and report those that match a rule");
    watch->add_option("SOURCE", options.source, "CSV file, - or host")->required();
    AddList(*watch, "--rule", options.rules,
            "Report samples that match a rule such as 'temperature > 8.0'; repeatable", "RULE");
    watch->add_option("--stream", options.stream, "Name of the stream")->type_name("NAME");
    AddList(*watch, "--type", options.types, "Value type of a column; repeatable",
            "NAME:TYPE[:COUNT]");
    watch->add_option("--time", options.timeColumn, "Column that holds the time")
        ->type_name("COLUMN");
    watch
        ->add_option("--max-size", options.maxSize,
                     "Samples that the stream keeps, 1000 unless given or loaded")
        ->type_name("N");
    watch->add_option("--every", options.every, "Interval of the source host, 1s unless given")
        ->type_name("DURATION");
    watch->add_option("--for", options.duration, "End after that time")->type_name("DURATION");
    watch->add_option("--output", options.output, "Output format: text or ndjson")
        ->check(CLI::IsMember({"text", "ndjson"}))
        ->type_name("FORMAT")
        ->capture_default_str();
    watch->add_flag("--skip-bad", options.skipBad, "Count and skip bad rows instead of failing");
    watch->add_flag("--quiet", options.quiet, "Print no progress, notes or summary");
    watch->add_option("--save", options.save, "Document to write at the end, .xml or .json")
        ->type_name("FILE");
    watch->add_option("--load", options.load, "Document to start from, .xml or .json")
        ->type_name("FILE");
    AddMemoryOption(*watch, options.maxMemory);
    watch->footer(details);
    return watch;
}

void RunWatch(const WatchOptions& options) {
    std::optional<core::tessaryn::Document> document;
    if (!options.save.empty()) {
        CheckWritable(options.save);
        document = storage::NewDocument();
    }
    if (!options.load.empty()) {
        document = LoadWithin(options.maxMemory, options.load);
    }
    WatchSession session(options, document ? &*document : nullptr);
    const auto start = std::chrono::steady_clock::now();
    session.Run();
    if (!options.quiet) {
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        PrintSummary(session, elapsed.count());
    }
    // Where the source never opened, the document has nothing new.
    if (!options.save.empty() && session.GetStream().IsOpen()) {
        Save(*document, session, options);
    }
}

}  // namespace velmora::tool
