// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/record_command.h"

#include "terminal/message.h"
#include "text/escaped_text.h"

#include <cstdio>

namespace velmora::tool {

namespace {

constexpr const char* details =
    R"(SOURCE and how it is read are as for "tessaryn watch". The history is an SQLite
database, which is made where there is none; otherwise samples are added to it, but for
those of a stream that it has already, so that a file can be recorded again as it grows.
Further programs may read it meanwhile, "tessaryn replay" and "tessaryn show" among them.

With --rule, the samples that match one of the rules are recorded; with --before and
--after, also those of the same stream in that time before a match and after one. --keep all
records every sample, and lets the rules decide the exit status only; --keep events
records each time that a rule is true as one sample of a stream STREAM/RULE: begin, end,
count, and the extremes of the numbers that the rule names.

A signal (SIGINT, SIGTERM, SIGHUP) ends the run in order: what was read is written.
While the disk is full or the file locked, up to 100000 samples wait.

Exit status: 0 when a rule matched or there is none, also when interrupted; 1 when no
rule matched; 2 when the command line, a rule or a source is bad, or the history cannot
be written.)";

void PrintResult(const RecordOptions& options, const RecordSession& session) {
    const storage::HistoryWriterStatistics statistics = session.GetStatistics();
    std::string text = "recorded " + Counted(statistics.written, "sample") + " of " +
                       std::to_string(session.GetSamples()) + " to ";
    AppendEscaped(text, options.to);
    if (statistics.skipped > 0) {
        text += ", which had " + std::to_string(statistics.skipped) + " more of them";
    }
    if (session.IsInterrupted()) {
        text += "; interrupted";
    }
    std::fprintf(stderr, "%s\n", text.c_str());
}

}  // namespace

CLI::App* AddRecordCommand(CLI::App& app, RecordOptions& options) {
    CLI::App* const record = app.add_subcommand("record", "Write samples to a history");
    AddSourceOptions(*record, options.source, "--every");
    record->add_option("--to", options.to, "History to write, a file that ends in .db")
        ->required()
        ->type_name("FILE");
    AddListOption(*record, "--rule", options.rules,
                  "Record samples that match a rule such as 'temperature > 8.0'; repeatable",
                  "[NAME:]RULE");
    record->add_option("--rules", options.ruleFile, "File of rules, one on each line")
        ->type_name("FILE");
    record->add_flag("--allow-unknown", options.allowUnknown,
                     "Warn of entries that no sample has instead of failing");
    record->add_option("--before", options.before, "Record what was read before a match, too")
        ->type_name("DURATION");
    record->add_option("--after", options.after, "Record what is read after a match, too")
        ->type_name("DURATION");
    record->add_option("--keep", options.keep, "What is recorded: matches, events or all")
        ->check(CLI::IsMember({"matches", "events", "all"}))
        ->type_name("WHAT")
        ->capture_default_str();
    record->add_option("--for", options.duration, "End after that time")->type_name("DURATION");
    record->footer(details);
    return record;
}

int RunRecord(const RecordOptions& options) {
    RecordSession session(options);
    session.Run();
    if (!options.source.quiet) {
        PrintResult(options, session);
    }
    const std::uint64_t lost = session.GetStatistics().lost;
    if (lost > 0) {
        PrintMessage("", Counted(lost, "sample") + " could not be written: " + session.GetError());
        return 2;
    }
    return session.HasMatches() ? 0 : 1;
}

}  // namespace velmora::tool
