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

/// What is reported of that which matches a rule, and with what around it.
struct WatchFilter {
    using Duration = std::chrono::microseconds;

    /// One line for each time that a rule is true, or one for its begin and one for its end.
    bool events = false;
    bool edges = false;
    /// How long a rule must have been true.
    std::optional<Duration> hold;
    /// Interval in which one line at most is written.
    std::optional<Duration> interval;
    /// Entry that must have changed; empty for none.
    std::string changed;
    /// Entry that must have moved by more than a limit; empty for none.
    std::string moved;
    double limit = 0;
    /// Rows that are written before and after.
    Duration before{0};
    Duration after{0};
};

/// The interval of N/DURATION, with its N lines evenly spread.
/// \throws CommandError that names the option when the text is none
std::chrono::microseconds ParseRate(const char* option, const std::string& text);

/// The entry and the limit of ENTRY:LIMIT.
/// \throws CommandError that names the option when the text is none
std::pair<std::string, double> ParseDeadband(const char* option, const std::string& text);

/// Parses the options that make the filter.
/// \throws CommandError when one is bad, or two exclude each other
WatchFilter MakeWatchFilter(const WatchOptions& options);

}  // namespace velmora::tool
