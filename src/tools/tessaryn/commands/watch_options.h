// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "commands/source_options.h"

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora::tool {

/// The command line of `tessaryn watch`.
struct WatchOptions {
    SourceOptions source;
    std::vector<std::string> rules;
    std::string ruleFile;
    std::optional<long> maxSize;
    std::string duration;
    std::string output = "text";
    std::string save;
    std::string load;
    std::string keep = "all";
    bool events = false;
    bool edges = false;
    bool allowUnknown = false;
    std::string hold;
    std::string atMost;
    std::string onChange;
    std::string deadband;
    std::string before;
    std::string after;
};

/// Which matches of a rule are reported, and with which rows around them.
struct WatchFilter {
    using Duration = std::chrono::microseconds;

    /// One line for each event, or one for its beginning and one for its end.
    bool events = false;
    bool edges = false;
    /// How long a rule must have been true.
    std::optional<Duration> hold;
    /// Interval in which at most one line is written.
    std::optional<Duration> interval;
    /// Entry that must have changed; empty for none.
    std::string changed;
    /// Entry that must have moved by more than a limit; empty for none.
    std::string moved;
    double limit = 0;
    /// How long before and after a match rows are written.
    Duration before{0};
    Duration after{0};
};

/// The interval between lines that N/DURATION gives.
/// \throws CommandError that names the option when the text is malformed
std::chrono::microseconds ParseRate(const char* option, const std::string& text);

/// The entry and the limit of ENTRY:LIMIT.
/// \throws CommandError that names the option when the text is malformed
std::pair<std::string, double> ParseDeadband(const char* option, const std::string& text);

/// Parses the options that make the filter.
/// \throws CommandError when one is bad, or two exclude each other
WatchFilter MakeWatchFilter(const WatchOptions& options);

}  // namespace velmora::tool
