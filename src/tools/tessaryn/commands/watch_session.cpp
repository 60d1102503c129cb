// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/watch_session.h"

#include "command_error.h"
#include "csv/csv_source.h"
#include "source/host_source.h"
#include "terminal/input_file.h"
#include "terminal/message.h"
#include "text/escaped_text.h"
#include "text/time_text.h"

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <unistd.h>

namespace velmora::tool {

namespace {

std::chrono::microseconds ParseDurationOption(const char* option, const std::string& text) {
    const auto duration = ParseDuration(text);
    if (!duration) {
        throw CommandError(std::string(option) + " " + Quoted(text) +
                           " is not a duration such as 250ms, 3s, 2m or 1h");
    }
    return *duration;
}

std::string GetDefaultStreamName(const std::string& source) {
    if (source == "-") {
        return "stdin";
    }
    const std::size_t slash = source.rfind('/');
    std::string name = slash == std::string::npos ? source : source.substr(slash + 1);
    const std::size_t dot = name.rfind('.');
    if (dot != std::string::npos && dot > 0) {
        name.resize(dot);
    }
    return name;
}

}  // namespace

WatchSession::WatchSession(const WatchOptions& options, core::tessaryn::Document* document)
    : options(options),
      document(document),
      output(signals),
      progress(!options.quiet && isatty(STDERR_FILENO) != 0),
      stream(options.stream.empty() ? GetDefaultStreamName(options.source) : options.stream) {
    MakeRules();
    MakeSource();
    source->BeforeWait([this](const SourceProgress& read) {
        // Matches found so far are written before the run waits for more input.
        output.Flush();
        progress.Update(read.bytesRead, read.bytes, samples);
    });
    if (isatty(STDOUT_FILENO) != 0) {
        output.BeforeWrite([this] { progress.Clear(); });
    }
    if (!options.duration.empty()) {
        signals.StopAfter(ParseDurationOption("--for", options.duration));
    }
}

void WatchSession::MakeRules() {
    for (const std::string& text : options.rules) {
        rules.emplace_back(text);
    }
    if (rules.empty()) {
        rules.emplace_back();
    }
}

void WatchSession::MakeSource() {
    if (options.source == "host") {
        if (!options.types.empty() || !options.timeColumn.empty() || options.skipBad) {
            throw CommandError("--type, --time and --skip-bad are for CSV, not for host");
        }
        const std::string interval = options.every.empty() ? "1s" : options.every;
        source = std::make_unique<HostSource>(ParseDurationOption("--every", interval), signals);
        return;
    }
    if (!options.every.empty()) {
        throw CommandError("--every is for the source host only");
    }
    CsvOptions csv{options.timeColumn, {}, options.skipBad};
    for (const std::string& text : options.types) {
        csv.types.push_back(ParseColumnType(text));
    }
    source = std::make_unique<CsvSource>(std::make_unique<InputFile>(options.source, signals),
                                         std::move(csv));
}

void WatchSession::Warn(const char* prefix, const std::string& sentence) {
    progress.Clear();
    PrintMessage(prefix, sentence);
}

// Opens source and stream, and prints what looks wrong with the source or the rules; false when
// the run ended before that.
bool WatchSession::Open() {
    if (!source->Open(stream.GetType())) {
        return false;
    }
    if (!options.quiet) {
        for (const std::string& note : source->GetNotes()) {
            Warn("note: ", note);
        }
    }
    for (const RuleWatch& rule : rules) {
        for (const auto& [sentence, excerpt] : rule.Check(stream.GetType())) {
            Warn("warning: ", sentence);
            std::fputs(excerpt.c_str(), stderr);
        }
    }
    try {
        stream.Open(document, options.maxSize);
    } catch (const std::invalid_argument& error) {
        const std::string file = options.load.empty() ? "" : options.load + ": ";
        throw CommandError(file + error.what());
    }
    return true;
}

void WatchSession::PushAll() {
    try {
        while (!output.IsClosed() && !signals.IsStopped() && source->PushNext(stream.Get())) {
            ++samples;
        }
    } catch (const CommandError&) {
        throw;
    } catch (const std::exception&) {
        for (const RuleWatch& rule : rules) {
            const std::string failure = rule.DescribeFailure(stream.Get());
            if (!failure.empty()) {
                throw CommandError(source->GetPosition() + ": " + failure);
            }
        }
        throw;
    }
}

void WatchSession::ReadAll() {
    if (!Open()) {
        return;
    }
    reporter = options.output == "ndjson" ? MakeJsonReporter(stream.GetName(), stream.GetType())
                                          : MakeTextReporter(stream.GetName(), stream.GetType());
    for (RuleWatch& rule : rules) {
        rule.Subscribe(stream.Get(), *reporter, output);
    }
    PushAll();
}

void WatchSession::Run() {
    std::exception_ptr failure;
    try {
        ReadAll();
    } catch (...) {
        failure = std::current_exception();
    }
    output.Flush();
    progress.Clear();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

}  // namespace velmora::tool
