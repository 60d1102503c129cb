// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/memory_option.h"
#include "source/open_sources.h"
#include "text/time_printer.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velmora::tool {

/// The options of commands that read sources.
struct SourceOptions {
    std::vector<std::string> sources;
    std::string stream;
    std::string streamColumn;
    std::vector<std::string> types;
    std::string timeColumn;
    std::string dates;
    std::string zone;
    std::string outZone;
    std::string start;
    std::string interval;
    std::vector<std::string> columns;
    std::string since;
    std::string until;
    bool follow = false;
    bool skipBad = false;
    bool quiet = false;
    std::uint64_t maxMemory = defaultMaxMemory;
    NatsSettings nats;
    std::string natsStart;
};

/// Times from `since`, inclusive, to `until`, exclusive.
struct TimeRange {
    std::int64_t since = INT64_MIN;
    std::int64_t until = INT64_MAX;

    bool Contains(std::int64_t time) const { return time >= since && time < until; }
};

/// Adds the sources, and the options for reading them, to a command.
/// \param options \ownership observes: set when the command line is parsed
/// \param intervalOption the names of the option for rows without a time
void AddSourceOptions(CLI::App& command, SourceOptions& options, const char* intervalOption);

/// Adds the options for connecting to a NATS server.
/// \param settings \ownership observes: set when the command line is parsed
void AddNatsOptions(CLI::App& command, NatsSettings& settings);

/// Adds an option that may be repeated, with one value each time.
CLI::Option* AddListOption(CLI::App& command, const char* option, std::vector<std::string>& values,
                           const char* description, const char* valueName);

/// The value of an option that is a duration.
/// \throws CommandError that names the option when the text is not a duration
std::chrono::microseconds ParseDurationOption(const char* option, const std::string& text);

/// The settings for reading the sources.
/// \throws CommandError when an option is bad, or does not apply to these sources
SourceSettings MakeSourceSettings(const SourceOptions& options);

/// The times to read.
/// \throws CommandError when an option is not a timestamp
TimeRange MakeTimeRange(const SourceOptions& options);

}  // namespace velmora::tool
