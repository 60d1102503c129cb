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
#include <csignal>
#include <cstdio>
#include <optional>

namespace velmora::tool {

namespace {

// The exit status that a shell reports for a program killed by SIGPIPE.
constexpr int readerGone = 128 + SIGPIPE;

constexpr const char* details =
    R"(SOURCE is a file, a pattern such as 'rig/*.csv', "-" for standard input, or "host" for
this machine's live figures: load, cpu, memory_total, memory_available, network
(bytes received and sent), hostname. The content decides how a file is read, not its
name: CSV with a header, separated by "," ";" tab or "|"; JSON lines, also those of
--output ndjson; documents; histories; tables also packed as gzip or Zstandard.
Lines that begin with "#" are comments, and lines above the header are left out. Each
source is a stream of its own, named after the file, unless --as joins them or
--stream-by names a column.

Each sample that a rule asks for is one line on standard output; without a rule, every
sample is. A rule may have a name, as in 'warm: temperature > 8.0', which labels the
output. FILE of --rules has one on each line, and comments that begin with "#".

Times: ISO 8601 such as 2020-01-01T00:00:00.25+01:00, 2020-01-01 00:00 or 2020-01-01;
those without a zone are of --zone. The time column is the first that holds such times,
or the one of --time, which may also hold numbers that count from 1970: seconds,
milliseconds, microseconds or nanoseconds; the size of the first number decides which.
Where it holds dates alone, a column of times of day is read with it. With --start, it
counts seconds from there. With --every, rows need no time. In the hour that a clock
shows twice, a time is the first that does not lie before the row above.

Types: a column is text if its first value is not a number, else Double or Int64,
inferred from up to 10,000 rows; --type overrides that. A value of several elements is
written with ";" or blanks between them. Numbers may have a decimal comma unless commas
separate the columns. In an entry's name "_" replaces each character of the column's
title that a rule cannot spell; brackets at its end, as in "p [bar]", hold the unit,
which is printed with the values. Rows with one field more than the header begin with a
row name, the entry "row".

Missing values: an empty cell, and in columns of numbers "-", NA, N/A, NaN and null. The
sample has no element there, so that no comparison with it holds. Rows without a time
are left out. Both are counted, as are times that are repeated or out of order.

Durations: 250ms, 3s, 2m, 1h, 1d; a number without a unit counts seconds.

Events: --events writes one line for each time that a rule is true without a break, when
it ends: begin, end, rows, and the extremes of the numbers that the rule names; --edges
writes a line when a rule becomes true and one when it ends. --hold wants a rule to have
been true for that long. --on-change, --deadband and --at-most thin out what is left;
N lines in a duration are spread evenly. --before and --after add the rows around it,
labelled so. Samples out of order are ignored where these options are used.

--save writes all types and streams into one document when the sources end, also after
a signal (SIGINT, SIGTERM, SIGHUP) or when nobody reads the output any more, but not
when the program fails; FILE is replaced atomically. It holds the newest samples of each
stream or, with --keep matches, the rows that were written; with --keep events, a stream
STREAM/RULE of the events of each rule. --load starts from such a document: a stream of
the same name continues, with its samples and their times, if the source has the same
entries; otherwise a stream is added. NAME may hold groups: plant/line1.

Exit status: 0 when a rule matched or there is none, also when interrupted; 1 when no
rule matched; 2 when the command line, a rule or the input is bad; 141 when nobody reads
the output any more.)";

// Writes the document of a run that opened a stream.
void Save(const core::tessaryn::Document& document, const WatchSession& session,
          const WatchOptions& options) {
    bool dropped = false;
    for (const auto& [name, stream] : session.GetStreams()) {
        dropped = dropped || stream->GetDropped() > 0;
    }
    storage::SaveDocument(options.save, document);
    if (options.source.quiet) {
        return;
    }
    std::string text = "saved to ";
    AppendEscaped(text, options.save);
    if (dropped) {
        text += "; --max-size keeps more samples of a stream";
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

}  // namespace

CLI::App* AddWatchCommand(CLI::App& app, WatchOptions& options) {
    CLI::App* const watch =
        app.add_subcommand("watch", "Read samples and report those that match a rule");
    AddSourceOptions(*watch, options.source, "--every");
    AddListOption(*watch, "--rule", options.rules,
                  "Report samples that match a rule such as 'temperature > 8.0'; repeatable",
                  "[NAME:]RULE");
    watch->add_option("--rules", options.ruleFile, "File of rules, one on each line")
        ->type_name("FILE");
    watch->add_flag("--allow-unknown", options.allowUnknown,
                    "Warn of entries that no sample has instead of failing");
    watch->add_flag("--events", options.events, "Report each time that a rule is true as one line");
    watch->add_flag("--edges", options.edges, "Report when a rule becomes true and when it ends");
    watch->add_option("--hold", options.hold, "Report what has been true for that long")
        ->type_name("DURATION");
    watch->add_option("--at-most", options.atMost, "Report N lines in a duration, such as 1/10s")
        ->type_name("N/DURATION");
    watch->add_option("--on-change", options.onChange, "Report when that entry has changed")
        ->type_name("ENTRY");
    watch
        ->add_option("--deadband", options.deadband,
                     "Report when that entry has moved by more than a limit")
        ->type_name("ENTRY:LIMIT");
    watch->add_option("--before", options.before, "Report the rows before, too")
        ->type_name("DURATION");
    watch->add_option("--after", options.after, "Report the rows after, too")
        ->type_name("DURATION");
    watch->add_option("--for", options.duration, "End after that time")->type_name("DURATION");
    watch->add_option("--output", options.output, "Output format: text or ndjson")
        ->check(CLI::IsMember({"text", "ndjson"}))
        ->type_name("FORMAT")
        ->capture_default_str();
    watch->add_option("--save", options.save, "Document to write at the end, .xml or .json")
        ->type_name("FILE");
    watch->add_option("--keep", options.keep, "What is saved: all, matches or events")
        ->check(CLI::IsMember({"all", "matches", "events"}))
        ->type_name("WHAT")
        ->capture_default_str();
    watch
        ->add_option("--max-size", options.maxSize,
                     "Samples to save of each stream: unless given or loaded 1000, or 1000000 of "
                     "what --keep selects")
        ->type_name("N");
    watch->add_option("--load", options.load, "Document to start from, .xml or .json")
        ->type_name("FILE");
    watch->footer(details);
    return watch;
}

int RunWatch(const WatchOptions& options) {
    std::optional<core::tessaryn::Document> document;
    if (!options.save.empty()) {
        CheckWritable(options.save);
        document = storage::NewDocument();
    }
    if (!options.load.empty()) {
        document = LoadWithin(options.source.maxMemory, options.load);
    }
    WatchSession session(options, document ? &*document : nullptr);
    const auto start = std::chrono::steady_clock::now();
    session.Run();
    if (!options.source.quiet) {
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        PrintSummary(session, !options.save.empty(), elapsed.count());
    }
    // If no source was opened, the document has nothing new.
    if (!options.save.empty() && !session.GetStreams().empty()) {
        Save(*document, session, options);
    }
    if (session.IsOutputClosed() && !session.IsInterrupted()) {
        return readerGone;
    }
    return session.HasMatches() ? 0 : 1;
}

}  // namespace velmora::tool
