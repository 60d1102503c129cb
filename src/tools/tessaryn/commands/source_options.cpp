// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/source_options.h"

#include "command_error.h"
#include "remote/nats_address.h"
#include "text/escaped_text.h"
#include "text/time_text.h"
#include "text/time_zone.h"

#include <Poco/StringTokenizer.h>

#include <algorithm>

namespace velmora::tool {

namespace {

// A time of the command line, in the given zone unless it names its own.
std::int64_t ParseTimeOption(const char* option, const std::string& text, const std::string& zone) {
    const std::optional<TimeParts> parts = ParseTime(text);
    if (!parts) {
        throw CommandError(std::string(option) + " " + Quoted(text) +
                           " is not a time such as 2020-01-01T00:00:00Z or 2020-01-01");
    }
    const bool isLocal = !parts->hasZone && !zone.empty();
    return isLocal ? TimeZone(zone).ToUtc(parts->time, INT64_MIN) : parts->time;
}

std::vector<std::string> SplitList(const std::vector<std::string>& lists) {
    std::vector<std::string> names;
    for (const std::string& list : lists) {
        for (const std::string& name :
             Poco::StringTokenizer(list, ",", Poco::StringTokenizer::TOK_TRIM)) {
            names.push_back(name);
        }
    }
    return names;
}

}  // namespace

CLI::Option* AddListOption(CLI::App& command, const char* option, std::vector<std::string>& values,
                           const char* description, const char* valueName) {
    return command.add_option(option, values, description)
        ->allow_extra_args(false)
        ->type_name(valueName);
}

void AddSourceOptions(CLI::App& command, SourceOptions& options, const char* intervalOption) {
    command
        .add_option(
            "SOURCE", options.sources,
            "CSV, JSON lines or documents, packed or not; - or host; patterns such as '*.csv'; "
            "nats://HOST:PORT/SUBJECT")
        ->required()
        ->option_text("...");
    command
        .add_option("--stream,--as", options.stream,
                    "Name of the stream, which all sources are read into")
        ->type_name("NAME");
    command
        .add_option("--stream-by", options.streamColumn,
                    "Column whose values name the streams: a stream for each")
        ->type_name("COLUMN");
    AddListOption(command, "--type", options.types, "Value type of a column; repeatable",
                  "NAME:TYPE[:COUNT]");
    AddListOption(command, "--columns", options.columns,
                  "Columns to use, with commas between them; all unless given", "NAME,...");
    command.add_option("--time", options.timeColumn, "Column that holds the time")
        ->type_name("COLUMN");
    command
        .add_option("--dates", options.dates,
                    "Order of dates such as 29.03.2026 or 03/29/2026: day-first or month-first")
        ->check(CLI::IsMember({"day-first", "month-first"}))
        ->type_name("ORDER");
    command.add_option("--zone", options.zone, "Zone of times that name none, UTC unless given")
        ->type_name("ZONE");
    command
        .add_option("--out-zone", options.outZone, "Zone of the times printed, UTC unless given")
        ->type_name("ZONE");
    command
        .add_option("--start", options.start,
                    "Time from which the time column counts seconds, or that of the first row")
        ->type_name("TIME");
    command
        .add_option(intervalOption, options.interval,
                    "Interval of rows without a time, or of the source host, where it is 1s unless "
                    "given")
        ->type_name("DURATION");
    command.add_option("--since", options.since, "Use rows from this time on")->type_name("TIME");
    command.add_option("--until", options.until, "Use rows before this time")->type_name("TIME");
    command.add_flag("--follow", options.follow,
                     "Read a file on as it grows, also when another takes its name");
    command.add_flag("--skip-bad", options.skipBad, "Count and skip bad rows instead of failing");
    command.add_flag("--quiet", options.quiet, "Print no progress, notes or summary");
    AddMemoryOption(command, options.maxMemory);
    command
        .add_option("--nats-start", options.natsStart,
                    "Where a NATS source begins: newest, all, now, or when the server got it")
        ->type_name("WHERE");
    AddNatsOptions(command, options.nats);
}

void AddNatsOptions(CLI::App& command, NatsSettings& settings) {
    command
        .add_option("--nats-stream", settings.jetStream, "JetStream stream that keeps the samples")
        ->type_name("NAME")
        ->capture_default_str();
    command.add_option("--nats-creds", settings.credentials, "Credentials for the NATS server")
        ->type_name("FILE");
    command
        .add_option("--nats-ca", settings.authority,
                    "Certificates of authorities that may vouch for the NATS server; turns TLS on")
        ->type_name("FILE");
    command
        .add_option("--nats-cert", settings.certificate,
                    "Certificate for the NATS server to check; turns TLS on")
        ->type_name("FILE");
    command.add_option("--nats-key", settings.key, "Key of that certificate")->type_name("FILE");
}

std::chrono::microseconds ParseDurationOption(const char* option, const std::string& text) {
    const auto duration = ParseDuration(text);
    if (!duration) {
        throw CommandError(std::string(option) + " " + Quoted(text) +
                           " is not a duration such as 250ms, 3s, 2m or 1h");
    }
    return *duration;
}

SourceSettings MakeSourceSettings(const SourceOptions& options) {
    const bool hasHost = std::count(options.sources.begin(), options.sources.end(), "host") > 0;
    if (hasHost && (!options.types.empty() || !options.timeColumn.empty() || options.skipBad)) {
        throw CommandError("--type, --time and --skip-bad are for tables, not for host");
    }
    if (options.follow && options.sources.size() > 1) {
        throw CommandError("--follow is for one source: the first never ends");
    }
    for (std::size_t i = 0; i + 1 < options.sources.size(); ++i) {
        if (IsNatsAddress(options.sources[i])) {
            throw CommandError("a NATS server never ends as a source: it must be the last one");
        }
    }
    SourceSettings settings;
    settings.nats = options.nats;
    if (!options.natsStart.empty()) {
        SetNatsStart(settings.nats, options.natsStart);
    }
    settings.streamName = options.stream;
    settings.follow = options.follow;
    settings.maxMemory = options.maxMemory;
    CsvOptions& table = settings.table;
    table.timeColumn = options.timeColumn;
    table.skipBad = options.skipBad;
    table.columns = SplitList(options.columns);
    table.streamColumn = options.streamColumn;
    table.zone = options.zone;
    for (const std::string& text : options.types) {
        table.types.push_back(ParseColumnType(text));
    }
    if (!options.dates.empty()) {
        table.dates = options.dates == "day-first" ? DateOrder::dayFirst : DateOrder::monthFirst;
    }
    if (!options.start.empty()) {
        table.start = ParseTimeOption("--start", options.start, options.zone);
    }
    if (!options.interval.empty()) {
        table.interval = ParseDurationOption("the interval", options.interval);
    }
    return settings;
}

TimeRange MakeTimeRange(const SourceOptions& options) {
    const std::string& zone = options.outZone.empty() ? options.zone : options.outZone;
    TimeRange range;
    if (!options.since.empty()) {
        range.since = ParseTimeOption("--since", options.since, zone);
    }
    if (!options.until.empty()) {
        range.until = ParseTimeOption("--until", options.until, zone);
    }
    return range;
}

}  // namespace velmora::tool
