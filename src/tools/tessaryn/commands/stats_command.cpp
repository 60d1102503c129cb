// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/stats_command.h"

#include "commands/row_loop.h"
#include "statistics/stream_stats.h"
#include "terminal/message.h"
#include "terminal/standard_output.h"
#include "text/escaped_text.h"
#include "text/time_printer.h"
#include "text/value_text.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>

namespace velmora::tool {

namespace {

constexpr const char* details =
    R"(Each line has the figures of one numeric entry: the number of its values and of the
missing ones, the minimum, mean and maximum, the standard deviation (of a sample), the
median and the 99th percentile. Entries of text are left out. Above them stand the number
of rows of the stream, its first and last time, and its gaps: intervals longer than twice
the median of the first 1,000.

The median and the 99th percentile are exact up to 100,000 values. Of more, they are
those of 100,000 values chosen at random, the same in each run: in 95 of 100 cases, the
share of values below the median given is 0.5 within 0.0032, and that below the 99th
percentile 0.99 within 0.0007.

--every gives the figures of each hour, day or other interval that has rows, by the
clocks of --out-zone. A row that is out of order counts for the interval before it.

How sources are read, tessaryn watch --help describes.)";

struct Figure {
    const char* name;
    double value;
};

std::array<Figure, 6> GetFigures(NumberStats& numbers) {
    return {{{"min", numbers.GetMin()},
             {"mean", numbers.GetMean()},
             {"max", numbers.GetMax()},
             {"sd", numbers.GetDeviation()},
             {"median", numbers.GetQuantile(0.5)},
             {"p99", numbers.GetQuantile(0.99)}}};
}

// Six significant digits are enough for people.
std::string FormatShort(double value) {
    if (value != value) {
        return "-";
    }
    std::array<char, 32> digits{};
    const auto [end, error] = std::to_chars(digits.data(), digits.data() + digits.size(), value,
                                            std::chars_format::general, 6);
    return {digits.data(), end};
}

std::size_t CountColumns(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
    }));
}

void AppendTable(std::string& out, const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths(rows.front().size());
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], CountColumns(row[i]));
        }
    }
    for (const auto& row : rows) {
        std::string line = " ";
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string padding(widths[i] - CountColumns(row[i]), ' ');
            // Aligns names and units to the left, numbers to the right.
            const bool isText = i == 0 || i + 1 == row.size();
            line += " " + (isText ? row[i] + padding : " " + padding + row[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out += line + '\n';
    }
}

// Prints the figures of streams as soon as they are complete.
class StatsPrinter {
  public:
    StatsPrinter(StandardOutput& output, TimePrinter& times, bool isJson)
        : output(output), times(times), isJson(isJson) {}

    // `window` is the beginning of the interval; nothing for all rows.
    void Print(const std::string& stream, StreamStats& stats, const GapFinder::Gaps* gaps,
               std::optional<std::int64_t> window) {
        std::string& out = output.GetBuffer();
        if (isJson) {
            AppendJson(out, stream, stats, gaps, window);
        } else {
            AppendText(out, stream, stats, gaps, window);
        }
        output.Commit();
    }

  private:
    void AppendText(std::string& out, const std::string& stream, StreamStats& stats,
                    const GapFinder::Gaps* gaps, std::optional<std::int64_t> window) {
        AppendWord(out, stream);
        if (window) {
            out +=
                "  from " + times.Format(*window) + ": " + Counted(stats.GetRows(), "row") + '\n';
        } else {
            out += ": " + Counted(stats.GetRows(), "row") + ", " + times.Format(stats.GetFirst()) +
                   " to " + times.Format(stats.GetLast());
            if (stats.GetLate() > 0) {
                out += ", " + Counted(stats.GetLate(), "time") + " out of order";
            }
            out += '\n';
        }
        if (gaps != nullptr && gaps->count > 0) {
            out += "  " + Counted(gaps->count, "gap") + " longer than " +
                   FormatDuration(gaps->limit) + ", the longest " + FormatDuration(gaps->longest) +
                   " from " + times.Format(gaps->longestBegin) + '\n';
        }
        std::vector<std::vector<std::string>> rows{
            {"entry", "count", "missing", "min", "mean", "max", "sd", "median", "p99", ""}};
        for (StreamStats::Entry& entry : stats.GetEntries()) {
            std::string unit;
            AppendEscaped(unit, entry.unit);
            std::vector<std::string> row{entry.name, std::to_string(entry.numbers.GetCount()),
                                         std::to_string(entry.missing)};
            for (const Figure& figure : GetFigures(entry.numbers)) {
                row.push_back(FormatShort(figure.value));
            }
            row.push_back(unit);
            rows.push_back(std::move(row));
        }
        AppendTable(out, rows);
    }

    void AppendJson(std::string& out, const std::string& stream, StreamStats& stats,
                    const GapFinder::Gaps* gaps, std::optional<std::int64_t> window) {
        out += "{\"stream\":";
        AppendJsonString(out, stream);
        if (window) {
            out += ",\"from\":\"" + times.Format(*window) + '"';
        }
        out += ",\"rows\":" + std::to_string(stats.GetRows()) + ",\"first\":\"" +
               times.Format(stats.GetFirst()) + "\",\"last\":\"" + times.Format(stats.GetLast()) +
               "\",\"out_of_order\":" + std::to_string(stats.GetLate());
        if (gaps != nullptr) {
            out += ",\"gaps\":" + std::to_string(gaps->count) + ",\"longest_gap_seconds\":";
            AppendValue(out, static_cast<double>(gaps->longest) / 1e6, ValueForm::json);
        }
        out += ",\"entries\":[";
        for (StreamStats::Entry& entry : stats.GetEntries()) {
            out += &entry == stats.GetEntries().data() ? "{\"name\":" : ",{\"name\":";
            AppendJsonString(out, entry.name);
            if (!entry.unit.empty()) {
                out += ",\"unit\":";
                AppendJsonString(out, entry.unit);
            }
            out += ",\"count\":" + std::to_string(entry.numbers.GetCount()) +
                   ",\"missing\":" + std::to_string(entry.missing);
            for (const Figure& figure : GetFigures(entry.numbers)) {
                out += std::string(",\"") + figure.name + "\":";
                AppendValue(out, figure.value, ValueForm::json);
            }
            out += '}';
        }
        out += "]}\n";
    }

    StandardOutput& output;
    TimePrinter& times;
    bool isJson;
};

// The figures of one stream: of all rows, or of each interval.
struct StreamReport {
    StreamStats stats{};
    GapFinder gaps{};
    /// The interval of the figures.
    std::int64_t window = 0;
    std::int64_t windowEnd = INT64_MAX;
};

// The beginning of the interval that contains a time, by the clock of a zone.
std::int64_t GetWindow(std::int64_t time, std::int64_t length, TimePrinter& times) {
    const std::int64_t offset = times.GetOffset(time);
    const std::int64_t local = time + offset;
    const std::int64_t rest = (local % length + length) % length;
    return local - rest - offset;
}

}  // namespace

CLI::App* AddStatsCommand(CLI::App& app, StatsOptions& options) {
    CLI::App* const stats =
        app.add_subcommand("stats", "Print figures of the numbers in recordings");
    AddSourceOptions(*stats, options.source, "--interval");
    stats->add_option("--every", options.window, "Print the figures of each interval, such as 1h")
        ->type_name("DURATION");
    stats->add_option("--output", options.output, "Output format: text or ndjson")
        ->check(CLI::IsMember({"text", "ndjson"}))
        ->type_name("FORMAT")
        ->capture_default_str();
    stats->footer(details);
    return stats;
}

void RunStats(const StatsOptions& options) {
    const bool hasWindows = !options.window.empty();
    const std::int64_t length =
        hasWindows ? ParseDurationOption("--every", options.window).count() : 0;
    SignalWatcher signals;
    StandardOutput output(signals);
    TimePrinter times(options.source.outZone);
    StatsPrinter printer(output, times, options.output == "ndjson");
    std::map<std::string, StreamReport, std::less<>> streams;
    std::map<std::string, StreamReport, std::less<>>::iterator current = streams.end();
    const RowLoopResult result = ForEachRow(options.source, signals, [&](const Row& row) {
        if (current == streams.end() || current->first != row.stream) {
            current = streams.try_emplace(std::string(row.stream)).first;
        }
        StreamReport& report = current->second;
        if (hasWindows && (report.stats.IsEmpty() || row.time >= report.windowEnd)) {
            if (!report.stats.IsEmpty()) {
                printer.Print(current->first, report.stats, nullptr, report.window);
                report.stats = {};
            }
            report.window = GetWindow(row.time, length, times);
            report.windowEnd = report.window + length;
        }
        report.stats.Add(row);
        report.gaps.Add(row.time);
    });
    for (auto& [name, report] : streams) {
        const GapFinder::Gaps gaps = report.gaps.Get();
        printer.Print(name, report.stats, hasWindows ? nullptr : &gaps,
                      hasWindows ? std::optional(report.window) : std::nullopt);
    }
    output.Flush();
    if (!options.source.quiet) {
        PrintRowSummary(result);
    }
}

}  // namespace velmora::tool
