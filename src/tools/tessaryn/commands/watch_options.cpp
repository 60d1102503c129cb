// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/watch_options.h"

#include "command_error.h"
#include "text/escaped_text.h"

#include <charconv>
#include <tuple>

namespace velmora::tool {

std::chrono::microseconds ParseRate(const char* option, const std::string& text) {
    unsigned int lines = 0;
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, lines);
    const bool isRate = error == std::errc() && lines > 0 && end != last && *end == '/';
    const auto duration = isRate ? ParseDuration({end + 1, last}) : std::nullopt;
    if (!duration || duration->count() < lines) {
        throw CommandError(std::string(option) + " " + Quoted(text) +
                           " is not a number of lines in a duration, such as 1/10s");
    }
    return *duration / lines;
}

std::pair<std::string, double> ParseDeadband(const char* option, const std::string& text) {
    const std::size_t colon = text.rfind(':');
    const char* const last = text.data() + text.size();
    const char* const number = text.data() + (colon == std::string::npos ? text.size() : colon + 1);
    double limit = 0;
    const auto [end, error] = std::from_chars(number, last, limit);
    if (colon == 0 || error != std::errc() || end != last || !(limit >= 0)) {
        throw CommandError(std::string(option) + " " + Quoted(text) +
                           " is not an entry and a limit, such as temperature:0.5");
    }
    return {text.substr(0, colon), limit};
}

WatchFilter MakeWatchFilter(const WatchOptions& options) {
    WatchFilter filter;
    filter.events = options.events;
    filter.edges = options.edges;
    filter.changed = options.onChange;
    if (!options.hold.empty()) {
        filter.hold = ParseDurationOption("--hold", options.hold);
    }
    if (!options.atMost.empty()) {
        filter.interval = ParseRate("--at-most", options.atMost);
    }
    if (!options.deadband.empty()) {
        std::tie(filter.moved, filter.limit) = ParseDeadband("--deadband", options.deadband);
    }
    if (!options.before.empty()) {
        filter.before = ParseDurationOption("--before", options.before);
    }
    if (!options.after.empty()) {
        filter.after = ParseDurationOption("--after", options.after);
    }
    const bool reportsEvents = filter.events || filter.edges;
    if (reportsEvents && options.rules.empty() && options.ruleFile.empty()) {
        throw CommandError(
            "--events and --edges need a rule; --rule 'temperature > 8.0' gives one");
    }
    if (filter.events && filter.edges) {
        throw CommandError("--events and --edges exclude each other");
    }
    if (reportsEvents && !(filter.changed.empty() && filter.moved.empty())) {
        throw CommandError("--on-change and --deadband are for rows, not for events");
    }
    if (filter.edges && filter.hold) {
        throw CommandError("--hold is for rows and for --events, not for --edges");
    }
    if (options.keep != "all" && options.save.empty()) {
        throw CommandError("--keep needs --save");
    }
    if (options.keep == "events" && !filter.events) {
        throw CommandError("--keep events needs --events");
    }
    if (options.keep == "matches" && filter.events) {
        throw CommandError(
            "--keep matches keeps rows, which --events does not report; use --keep events, or "
            "leave out --events");
    }
    return filter;
}

}  // namespace velmora::tool
