// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/plot_command.h"

#include "command_error.h"
#include "commands/named_rule.h"
#include "commands/row_loop.h"
#include "delivery/aggregates.h"
#include "delivery/condition.h"
#include "document/element_history.h"
#include "plot/chart.h"
#include "storage/file_replacement.h"
#include "terminal/message.h"
#include "terminal/standard_output.h"
#include "text/escaped_text.h"
#include "text/value_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <deque>
#include <map>
#include <memory>
#include <sys/ioctl.h>
#include <unistd.h>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

constexpr const char* details =
    R"(Without --to, the charts are drawn in the terminal, as wide as it is: a chart for each
numeric entry of each stream, with the axes of values and times. With --to, they are
written to a page (.html) that holds all it needs and opens in any browser, offline: drag
to zoom, point to see time and value, choose the charts to show; or to a picture (.svg).

--rule and --rules mark the times for which a rule is true.

Charts are thinned without hiding a peak: of each interval that is as wide as a dot, the
smallest and the largest value are drawn. A page has up to 40,000 points.

How sources are read, tessaryn watch --help describes.)";

// Collects the events of one rule in one stream.
class EventCollector : private delivery::Sink {
  public:
    EventCollector(const NamedRule& rule, std::string stream, Report& report)
        : rule(rule),
          stream(std::move(stream)),
          report(report),
          chain(delivery::Events(rule.rule, {})) {}

    void Add(tsn::Sample& sample) {
        tsn::SubscriptionArgs change{tsn::pushed, &sample, nullptr};
        chain.Process(change, *this);
    }
    void Flush() { chain.Flush(Poco::Timestamp(Poco::Timestamp::TIMEVAL_MAX), *this); }

  private:
    void Emit(tsn::SubscriptionArgs& change) override {
        const tsn::Sample& event = *change.sample;
        report.events.push_back({stream, {rule.label, event.GetInt64(0, 0), event.GetInt64(1, 0)}});
    }

    const NamedRule& rule;
    std::string stream;
    Report& report;
    delivery::ConditionChain chain;
};

// Collects the points and the events of the rows.
class Plotter {
  public:
    explicit Plotter(const PlotOptions& options)
        : options(options), rules(ParseRules(options.rules, options.ruleFile)) {}

    void Add(const Row& row) {
        if (current == nullptr || current->name != row.stream) {
            current = &Find(row);
        }
        for (std::size_t id = 0; id < current->charts.size(); ++id) {
            AddPoints(row, static_cast<unsigned short>(id));
        }
        for (EventCollector& collector : current->collectors) {
            collector.Add(row.sample);
        }
    }

    Report& Finish() {
        for (auto& [name, stream] : streams) {
            for (EventCollector& collector : stream.collectors) {
                collector.Flush();
            }
            for (std::vector<Chart>& elements : stream.charts) {
                for (Chart& chart : elements) {
                    std::stable_sort(
                        chart.points.begin(), chart.points.end(),
                        [](const Point& a, const Point& b) { return a.time < b.time; });
                    report.charts.push_back(std::move(chart));
                }
            }
        }
        return report;
    }

  private:
    struct Stream {
        std::string name;
        /// For each entry, the points of its elements.
        std::vector<std::vector<Chart>> charts;
        std::deque<EventCollector> collectors;
    };

    Stream& Find(const Row& row) {
        const auto [place, isNew] = streams.try_emplace(std::string(row.stream));
        Stream& stream = place->second;
        if (!isNew) {
            return stream;
        }
        stream.name = row.stream;
        stream.charts.resize(row.type.GetNumEntries());
        CheckRules(rules, row.type, options.allowUnknown, options.source.quiet);
        for (const NamedRule& rule : rules) {
            if (!rule.isEverySample) {
                stream.collectors.emplace_back(rule, stream.name, report);
            }
        }
        return stream;
    }

    void AddPoints(const Row& row, unsigned short id) {
        const tsn::SampleEntry entry = row.type.GetEntry(id);
        if (entry.type == tsn::String) {
            return;
        }
        std::vector<Chart>& elements = current->charts[id];
        const unsigned int size = row.sample.GetSize(id);
        while (elements.size() < size) {
            const bool isSingle = entry.initialSize == 1;
            const std::string index = "[" + std::to_string(elements.size()) + "]";
            elements.push_back({current->name,
                                entry.key + (isSingle ? "" : index),
                                id < row.units.size() ? row.units[id] : "",
                                {}});
        }
        for (unsigned int i = 0; i < size; ++i) {
            double value = 0;
            VisitGetter(entry.type, [&](auto getter) {
                value = static_cast<double>((row.sample.*getter)(id, i));
            });
            if (std::isfinite(value)) {
                elements[i].points.push_back({row.time, value});
            }
        }
    }

    const PlotOptions& options;
    std::deque<NamedRule> rules;
    Report report;
    std::map<std::string, Stream> streams;
    Stream* current = nullptr;
};

std::size_t GetTerminalWidth() {
    constexpr std::size_t widthOfFiles = 100;
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                           : widthOfFiles;
}

void WriteFile(const std::string& path, const std::string& content) {
    storage::FileReplacement file(path);
    file.GetStream() << content;
    file.Commit();
}

}  // namespace

CLI::App* AddPlotCommand(CLI::App& app, PlotOptions& options) {
    CLI::App* const plot = app.add_subcommand("plot", "Draw the numbers in recordings");
    AddSourceOptions(*plot, options.source, "--every,--interval");
    AddListOption(*plot, "--rule", options.rules,
                  "Mark when a rule such as 'temperature > 8.0' is true; repeatable",
                  "[NAME:]RULE");
    plot->add_option("--rules", options.ruleFile, "File of rules, one on each line")
        ->type_name("FILE");
    plot->add_flag("--allow-unknown", options.allowUnknown,
                   "Warn of entries that no sample has instead of failing");
    plot->add_option("--to", options.to, "Page or picture to write, .html or .svg")
        ->type_name("FILE");
    plot->footer(details);
    return plot;
}

void RunPlot(const PlotOptions& options) {
    const bool isSvg = options.to.ends_with(".svg");
    if (!options.to.empty() && !isSvg && !options.to.ends_with(".html")) {
        throw CommandError("--to " + Quoted(options.to) + " does not end in .html or .svg");
    }
    SignalWatcher signals;
    StandardOutput output(signals);
    TimePrinter times(options.source.outZone);
    Plotter plotter(options);
    const RowLoopResult result =
        ForEachRow(options.source, signals, [&](const Row& row) { plotter.Add(row); });
    Report& report = plotter.Finish();
    if (report.charts.empty()) {
        throw CommandError("there are no numbers to draw");
    }
    report.title = report.charts.front().stream;
    if (report.charts.back().stream != report.title) {
        report.title += " and others";
    }
    if (options.to.empty()) {
        output.GetBuffer() = DrawText(report, times, GetTerminalWidth(), IsLocaleUtf8());
        output.Flush();
    } else {
        WriteFile(options.to, isSvg ? DrawSvg(report, times) : DrawHtml(report, times));
    }
    if (!options.source.quiet) {
        PrintRowSummary(result);
        if (!report.events.empty()) {
            std::fprintf(stderr, "%s marked\n", Counted(report.events.size(), "event").c_str());
        }
    }
}

}  // namespace velmora::tool
