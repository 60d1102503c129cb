// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/source_config.h"

#include "command_error.h"
#include "delivery/stream_pattern.h"
#include "serve/feed_factory.h"
#include "text/escaped_text.h"
#include "text/time_text.h"
#include "text/time_zone.h"

#include <Poco/String.h>

#include <algorithm>
#include <stdexcept>

namespace velmora::tool {

namespace {

std::vector<ColumnType> ParseTypes(const std::vector<std::string>& texts) {
    std::vector<ColumnType> types;
    for (const std::string& text : texts) {
        try {
            types.push_back(ParseColumnType(text));
        } catch (const CommandError& error) {
            // The option of the command line has the same name as the key.
            throw CommandError(Poco::replace(std::string(error.what()), "--type ", ""));
        }
        const auto same = std::count_if(types.begin(), types.end(), [&](const ColumnType& each) {
            return each.name == types.back().name;
        });
        if (same > 1) {
            throw CommandError(Quoted(types.back().name) + " is there twice");
        }
    }
    return types;
}

void AddTableKeys(ConfigSectionReader& reader, CsvOptions& table) {
    reader.Text("time", table.timeColumn)
        .Texts("columns", table.columns)
        .Text("stream-by", table.streamColumn)
        .Add("types", [&](const ConfigValue& value) { table.types = ParseTypes(value.texts); })
        .Single("dates",
                [&](const std::string& text) {
                    if (text != "day-first" && text != "month-first") {
                        throw CommandError("dates " + Quoted(text) +
                                           " is neither day-first nor month-first");
                    }
                    table.dates = text == "day-first" ? DateOrder::dayFirst : DateOrder::monthFirst;
                })
        .Single("zone",
                [&](const std::string& text) {
                    const TimeZone known(text);
                    table.zone = text;
                })
        .Single("every", [&](const std::string& text) {
            table.interval = ParseDuration(text);
            if (!table.interval) {
                throw CommandError("every " + Quoted(text) +
                                   " is not a duration such as 250ms, 3s, 2m or 1h");
            }
        });
}

void AddNatsKeys(ConfigSectionReader& reader, NatsSettings& settings) {
    reader.Text("nats-stream", settings.jetStream)
        .Text("nats-creds", settings.credentials)
        .Text("nats-ca", settings.authority)
        .Text("nats-cert", settings.certificate)
        .Text("nats-key", settings.key)
        .Text("durable", settings.durable)
        .Single("nats-start", [&](const std::string& text) { SetNatsStart(settings, text); });
}

void CheckPath(const std::string& path, bool isPattern, std::size_t line,
               ConfigMistakes& mistakes) {
    try {
        const delivery::StreamPattern pattern(path, '/');
        const bool hasWildcard = path.find_first_of("*>") != std::string::npos;
        if (!isPattern && hasWildcard) {
            mistakes.Add(line, Quoted(path) + " is a pattern; there it must be one stream");
        }
    } catch (const std::invalid_argument&) {
        mistakes.Add(line, Quoted(path) + " is not the path of a stream such as plant/line1");
    }
}

}  // namespace

SourceConfig ReadSourceSection(const ConfigSection& section, ConfigSectionReader& reader,
                               ConfigMistakes& mistakes) {
    SourceConfig source;
    source.name = section.name;
    source.line = section.line;
    source.table.skipBad = true;
    AddTableKeys(reader, source.table);
    AddNatsKeys(reader, source.nats);
    reader.Text("from", source.from)
        .Required("from")
        .Text("stream", source.stream)
        .Flag("follow", source.follow)
        .Flag("only-new", source.onlyNew)
        .Duration("retry", source.retry)
        .Flag("replay", source.replay)
        .Factor("speed", source.speed)
        .Flag("loop", source.loop)
        .Flag("keep-times", source.keepTimes)
        .Finish();
    if (!source.stream.empty()) {
        CheckPath(source.stream, false, reader.GetLine("stream"), mistakes);
    }
    if (const std::string reason = source.from.empty() ? "" : DescribeBadSource(source);
        !reason.empty()) {
        mistakes.Add(reader.GetLine("from"), reason);
    }
    if (!source.replay && (source.speed != 1 || source.loop || source.keepTimes)) {
        mistakes.Add(section.line, "speed, loop and keep-times need replay = true");
    }
    if (source.loop && source.keepTimes) {
        mistakes.Add(reader.GetLine("loop"), "loop and keep-times exclude each other");
    }
    if (source.replay && source.onlyNew) {
        mistakes.Add(reader.GetLine("only-new"), "only-new and replay exclude each other");
    }
    return source;
}

StreamConfig ReadStreamSection(const ConfigSection& section, ConfigSectionReader& reader,
                               long capacity, ConfigMistakes& mistakes) {
    StreamConfig stream;
    stream.name = section.name;
    stream.line = section.line;
    stream.capacity = capacity;
    reader.Text("path", stream.path)
        .Required("path")
        .Number("capacity", stream.capacity, 1, INT32_MAX)
        .Add("entries", [&](const ConfigValue& value) { stream.entries = ParseTypes(value.texts); })
        .Add("units",
             [&](const ConfigValue& value) {
                 for (const std::string& text : value.texts) {
                     const std::size_t colon = text.find(':');
                     if (colon == 0 || colon == std::string::npos) {
                         throw CommandError(Quoted(text) +
                                            " is not an entry and a unit such as temperature:K");
                     }
                     stream.units.emplace_back(text.substr(0, colon), text.substr(colon + 1));
                 }
             })
        .Finish();
    if (!stream.path.empty()) {
        CheckPath(stream.path, stream.entries.empty(), reader.GetLine("path"), mistakes);
    }
    return stream;
}

}  // namespace velmora::tool
