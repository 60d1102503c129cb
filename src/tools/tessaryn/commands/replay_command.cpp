// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/replay_command.h"

#include "command_error.h"
#include "terminal/sample_reporter.h"
#include "terminal/signal_watcher.h"
#include "terminal/standard_output.h"
#include "transfer/history_reader.h"

#include <chrono>
#include <cmath>
#include <csignal>
#include <memory>
#include <optional>
#include <vector>

namespace velmora::tool {

namespace {

using Clock = SignalWatcher::Clock;

// The exit status that a shell reports for a program killed by SIGPIPE.
constexpr int readerGone = 128 + SIGPIPE;

constexpr const char* details =
    R"(FILE is a history as "tessaryn record" writes it. Each sample is one line on standard
output, those of all streams in the order of time. They appear as far apart as their
times are: --speed 10 is ten times as fast, --speed 0 waits for nothing. Further programs
may write to the history meanwhile.

Exit status: 0 on success, also when interrupted; 2 when the command line or the history
is bad; 141 when nobody reads the output any more.)";

// Waits for the times of samples.
class Pace {
  public:
    // `speed` is the factor on the original pace; 0 does not wait.
    Pace(double speed, SignalWatcher& signals) : speed(speed), signals(signals) {}

    // When a sample is due; nothing if that is not in the future.
    std::optional<Clock::time_point> DueAt(const Poco::Timestamp& time) {
        if (!begin) {
            begin = time;
            start = Clock::now();
        }
        if (speed == 0) {
            return std::nullopt;
        }
        const double wait = static_cast<double>(time - *begin) / speed;
        // Longer than any run, but still within the range of the clock.
        constexpr double maxWait = 1e15;
        const auto due = start + std::chrono::microseconds(std::llround(std::min(wait, maxWait)));
        return due > Clock::now() ? std::optional(due) : std::nullopt;
    }

    void WaitUntil(Clock::time_point due) { signals.WaitReadable(-1, due); }
    // Checks for a signal.
    void Poll() { signals.WaitReadable(-1, Clock::now()); }

  private:
    double speed;
    SignalWatcher& signals;
    std::optional<Poco::Timestamp> begin;
    Clock::time_point start;
};

using Reporters = std::vector<std::unique_ptr<SampleReporter>>;

Reporters MakeReporters(const std::vector<StreamLayout>& streams, bool asJson, TimePrinter& times) {
    Reporters reporters;
    for (const StreamLayout& stream : streams) {
        const LineSettings settings{stream.path, stream.units, {}, &times};
        reporters.push_back(asJson ? MakeJsonReporter(settings, *stream.type)
                                   : MakeTextReporter(settings, *stream.type));
    }
    return reporters;
}

}  // namespace

CLI::App* AddReplayCommand(CLI::App& app, ReplayOptions& options) {
    CLI::App* const replay =
        app.add_subcommand("replay", "Print the samples of a history at the pace of their times");
    replay->add_option("FILE", options.file, "History")->required();
    replay->add_option("--speed", options.speed, "How much faster than they came; 0 for at once")
        ->check(CLI::NonNegativeNumber)
        ->type_name("FACTOR")
        ->capture_default_str();
    AddFilterOptions(*replay, options.filter);
    replay->add_option("--out-zone", options.zone, "Zone of the times printed, UTC unless given")
        ->type_name("ZONE");
    replay->add_option("--output", options.output, "Output format: text or ndjson")
        ->check(CLI::IsMember({"text", "ndjson"}))
        ->type_name("FORMAT")
        ->capture_default_str();
    replay->footer(details);
    return replay;
}

int RunReplay(const ReplayOptions& options) {
    HistoryFileReader reader(options.file);
    SampleFilter filter(options.filter, reader);
    TimePrinter times(options.zone);
    const Reporters reporters =
        MakeReporters(filter.GetStreams(), options.output == "ndjson", times);
    const std::string rule = options.filter.rule.empty() ? "*" : options.filter.rule;
    LayoutIndex layouts(filter.GetStreams());
    SignalWatcher signals;
    StandardOutput output(signals);
    Pace pace(options.speed, signals);
    constexpr unsigned int samplesBetweenPolls = 1000;
    for (unsigned int count = 1; !output.IsClosed() && filter.Next(); ++count) {
        const core::tessaryn::Sample& sample = filter.GetSample();
        if (const auto due = pace.DueAt(sample.GetTimeStamp())) {
            output.Flush();
            reader.Suspend();
            pace.WaitUntil(*due);
        } else if (count % samplesBetweenPolls == 0) {
            pace.Poll();
        }
        if (signals.IsStopped()) {
            break;
        }
        const std::size_t index = layouts.Find(filter.GetPath(), *sample.GetStreamType());
        reporters[index]->Report(output.GetBuffer(), {rule}, sample);
        output.Commit();
    }
    output.Flush();
    return output.IsClosed() && !signals.IsInterrupted() ? readerGone : 0;
}

}  // namespace velmora::tool
