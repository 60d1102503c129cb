// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/watch_command.h"

#include "command_error.h"
#include "commands/rule_watch.h"
#include "common/version.h"
#include "csv/csv_source.h"
#include "document/document.h"
#include "document/document_file.h"
#include "source/host_source.h"
#include "terminal/input_file.h"
#include "terminal/progress_bar.h"
#include "terminal/sample_reporter.h"
#include "terminal/signal_watcher.h"
#include "terminal/standard_output.h"
#include "tessaryn/named_object.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"
#include "text/escaped_text.h"
#include "text/time_text.h"

#include <cstdio>
#include <deque>
#include <memory>
#include <unistd.h>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

constexpr long defaultMaxSize = 1000;

constexpr const char* details =
    R"(SOURCE is a CSV file with a header, "-" for CSV on standard input, or "host" for
this machine's live figures: load, cpu, memory_total, memory_available, network,
hostname. Each sample that a rule asks for is one line on standard output; without
a rule every sample is.

Times: ISO 8601 such as 2020-01-01T00:00:00.25+01:00, 2020-01-01 00:00 or 2020-01-01;
without a zone they are UTC. The time column is the first that holds such times, or
the one of --time, which may also hold numbers that count from 1970: seconds,
milliseconds, microseconds or nanoseconds, told once from the first number's size.

Types: a column is text if its first value is no number, else Double or Int64, told
from up to 10,000 rows; --type overrides it. A value of several elements is written
with ";" or blanks between them. Columns whose titles are no names get "_" for what
a name can't hold. Rows with one field more than the header begin with a row name,
the entry "row".

Durations: 250ms, 3s, 2m, 1h; a bare number counts seconds.

--save writes all types and streams, with the samples that the rings hold, into one
document when the source ends, also after an interrupt or when nobody reads the output
any more, but not when the program fails; FILE is replaced in one step. Decimals keep
15 digits, those of Float 6. --load starts from such a document: a stream of the same
name continues, with its samples and their times, if the source has the same entries,
else one is added. NAME may hold groups: plant/line1.

The program ends with 0, also when interrupted or when nobody reads its output any
more, and with 2 when the command line, a rule or the input is bad.)";

std::chrono::microseconds DurationOf(const char* option, const std::string& text) {
    const auto duration = ParseDuration(text);
    if (!duration) {
        throw CommandError(std::string(option) + " " + Quoted(text) +
                           " is no duration such as 250ms, 3s, 2m or 1h");
    }
    return *duration;
}

// Names the stream type after the stream.
class StreamName : public core::INamedObject {
  public:
    explicit StreamName(std::string name) : name(std::move(name)) {}
    StreamName(const StreamName&) = delete;
    StreamName& operator=(const StreamName&) = delete;
    ~StreamName() override = default;
    std::string GetName() const override { return name; }
    std::string GetFullName() const override { return name; }

  private:
    std::string name;
};

std::string DefaultStreamName(const std::string& source) {
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

// One run of the command, from its options to its summary.
class WatchSession {
  public:
    // \param options \ownership observes
    // \param document \ownership observes: what the run starts from
    WatchSession(const WatchOptions& options, Document& document);
    void Run();

  private:
    void MakeRules();
    void MakeSource();
    bool Prepare();
    void OpenStream();
    void PushAll();
    void Say(const char* kind, const std::string& sentence);
    void Summarize(double seconds);
    void Save();

    const WatchOptions& options;
    Document& document;
    bool isHost;
    SignalWatcher signals;
    StandardOutput output;
    ProgressBar progress;
    // Stands still: the stream's delegates point to its elements.
    std::deque<RuleWatch> rules;
    std::unique_ptr<InputFile> input;
    std::unique_ptr<SampleSource> source;
    StreamName name;
    // The source's entries.
    tsn::StreamType type;
    // The stream that the document doesn't hold, as nobody wants to keep it.
    std::unique_ptr<tsn::Stream> passing;
    // Where the samples go; null until the source is open.
    tsn::Stream* stream = nullptr;
    // What the stream held at the start.
    std::uint64_t samplesBefore = 0;
    std::uint64_t samples = 0;
};

std::uint64_t CountSamples(const tsn::Stream& stream) {
    std::uint64_t count = 0;
    stream.GetAll([&](const std::vector<tsn::Sample*>& all) { count = all.size(); });
    return count;
}

WatchSession::WatchSession(const WatchOptions& options, Document& document)
    : options(options),
      document(document),
      isHost(options.source == "host"),
      output(signals),
      progress(!options.quiet && isatty(STDERR_FILENO) != 0),
      name(options.stream.empty() ? DefaultStreamName(options.source) : options.stream),
      type(utils::Version(1, 0, 0), &name) {
    MakeRules();
    MakeSource();
    if (isatty(STDOUT_FILENO) != 0) {
        output.BeforeWrite([this] { progress.Clear(); });
    }
    if (!options.duration.empty()) {
        signals.StopAfter(DurationOf("--for", options.duration));
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
    if (isHost) {
        if (!options.types.empty() || !options.timeColumn.empty() || options.skipBad) {
            throw CommandError("--type, --time and --skip-bad are for CSV, not for host");
        }
        source = std::make_unique<HostSource>(
            DurationOf("--every", options.every.empty() ? "1s" : options.every), signals);
        return;
    }
    if (!options.every.empty()) {
        throw CommandError("--every is for the source host only");
    }
    CsvOptions csv{options.source, options.timeColumn, {}, options.skipBad};
    for (const std::string& text : options.types) {
        csv.types.push_back(ParseColumnType(text));
    }
    input = std::make_unique<InputFile>(options.source, signals);
    // What was found so far is on its way before the input makes the run wait.
    input->BeforeRead([this] {
        output.Flush();
        progress.Update(input->GetPosition(), input->GetSize(), samples);
    });
    source = std::make_unique<CsvSource>(*input, std::move(csv));
}

void WatchSession::Say(const char* kind, const std::string& sentence) {
    progress.Clear();
    std::fprintf(stderr, "tessaryn: %s%s\n", kind, sentence.c_str());
}

// Opens the source and tells what of it, or of the rules, looks wrong; false when the run ended
// before.
bool WatchSession::Prepare() {
    if (!source->Open(type)) {
        return false;
    }
    if (!options.quiet) {
        for (const std::string& note : source->GetNotes()) {
            Say("note: ", note);
        }
    }
    for (const RuleWatch& rule : rules) {
        for (const std::string& sentence : rule.Check(type)) {
            Say("warning: ", sentence);
        }
    }
    OpenStream();
    return true;
}

void WatchSession::OpenStream() {
    if (options.load.empty() && options.save.empty()) {
        passing = std::make_unique<tsn::Stream>(&type, options.maxSize.value_or(defaultMaxSize));
        stream = passing.get();
        return;
    }
    try {
        stream = &document.OpenStream(name.GetName(), type, options.maxSize, defaultMaxSize);
    } catch (const CommandError& error) {
        const std::string file = options.load.empty() ? "" : options.load + ": ";
        throw CommandError(file + error.what());
    }
    samplesBefore = CountSamples(*stream);
}

void WatchSession::PushAll() {
    try {
        while (!output.IsClosed() && !signals.IsStopped() && source->PushNext(*stream)) {
            ++samples;
            if (isHost) {
                output.Flush();
            }
        }
    } catch (const RuleError& error) {
        throw CommandError(source->GetPosition() + ": " + error.what());
    }
}

void WatchSession::Run() {
    const auto start = SignalWatcher::Clock::now();
    std::unique_ptr<SampleReporter> reporter;
    if (Prepare()) {
        reporter = options.output == "ndjson" ? MakeJsonReporter(name.GetName(), type)
                                              : MakeTextReporter(name.GetName(), type);
        for (RuleWatch& rule : rules) {
            rule.Subscribe(*stream, *reporter, output);
        }
        try {
            PushAll();
        } catch (...) {
            // What matched before the bad row is found all the same.
            output.Flush();
            progress.Clear();
            throw;
        }
    }
    output.Flush();
    progress.Clear();
    const std::chrono::duration<double> seconds = SignalWatcher::Clock::now() - start;
    if (!options.quiet) {
        Summarize(seconds.count());
    }
    // A source that never opened leaves nothing that is worth a document's place.
    if (stream != nullptr && !options.save.empty()) {
        Save();
    }
}

void WatchSession::Save() {
    const std::uint64_t kept = CountSamples(*stream);
    stream = nullptr;
    WriteTree(document.ToTree(), options.save);
    if (options.quiet) {
        return;
    }
    std::string sentence = "saved to ";
    AppendEscaped(sentence, options.save);
    if (kept < samplesBefore + samples) {
        sentence += "; --max-size keeps more than the last " + std::to_string(kept) + " samples";
    }
    std::fprintf(stderr, "%s\n", sentence.c_str());
}

void WatchSession::Summarize(double seconds) {
    const std::uint64_t kept = stream == nullptr ? 0 : CountSamples(*stream);
    const long maxSize =
        stream == nullptr ? options.maxSize.value_or(defaultMaxSize) : stream->GetMaxSize();
    std::string stop;
    if (signals.IsInterrupted()) {
        stop = ", interrupted";
    } else if (output.IsClosed()) {
        stop = ", output closed";
    }
    std::string streamName;
    AppendWord(streamName, name.GetName());
    const auto count = [](std::uint64_t number) { return static_cast<unsigned long long>(number); };
    std::fprintf(stderr, "stream %s: %llu %s read%s, %llu dropped from the ring of %ld\n",
                 streamName.c_str(), count(samples), samples == 1 ? "sample" : "samples",
                 stop.c_str(), count(samplesBefore + samples - kept), maxSize);
    for (const RuleWatch& rule : rules) {
        std::string text;
        AppendEscaped(text, rule.GetText());
        std::fprintf(stderr, "rule [%s]: %llu %s\n", text.c_str(), count(rule.GetMatches()),
                     rule.GetMatches() == 1 ? "match" : "matches");
    }
    if (source->GetSkipped() > 0) {
        std::fprintf(stderr, "%llu bad rows skipped, the first: %s\n", count(source->GetSkipped()),
                     source->GetFirstSkipped().c_str());
    }
    std::fprintf(stderr, "%.3f seconds, %.0f samples per second\n", seconds,
                 seconds > 0 ? static_cast<double>(samples) / seconds : 0.0);
}

// Binds an option that may be given again and again, one value each time.
void AddList(CLI::App& app, const char* option, std::vector<std::string>& values,
             const char* meaning, const char* value) {
    app.add_option_function<std::string>(
           option, [&values](const std::string& text) { values.push_back(text); }, meaning)
        ->trigger_on_parse()
        ->type_name(value);
}

}  // namespace

CLI::App* AddWatchCommand(CLI::App& app, WatchOptions& options) {
    CLI::App* const watch = app.add_subcommand(
        "watch", "Reads samples and reports those that the rules ask for, as they come");
    watch->add_option("SOURCE", options.source, "CSV file, - or host")->required();
    AddList(*watch, "--rule", options.rules, "Rule such as 'temperature > 8.0'; repeatable",
            "TEXT");
    watch->add_option("--stream", options.stream, "Name of the stream")->type_name("NAME");
    AddList(*watch, "--type", options.types, "Value type of a column; repeatable",
            "NAME:TYPE[:COUNT]");
    watch->add_option("--time", options.timeColumn, "Column that holds the time")
        ->type_name("COLUMN");
    watch
        ->add_option("--max-size", options.maxSize,
                     "Samples that the stream keeps, 1000 unless given or loaded")
        ->type_name("N");
    watch->add_option("--every", options.every, "Interval of host, 1s unless given")
        ->type_name("DURATION");
    watch->add_option("--for", options.duration, "Ends after that time")->type_name("DURATION");
    watch->add_option("--output", options.output, "Form of the lines: text or ndjson")
        ->check(CLI::IsMember({"text", "ndjson"}))
        ->type_name("FORM")
        ->capture_default_str();
    watch->add_flag("--skip-bad", options.skipBad, "Counts and skips bad rows instead of ending");
    watch->add_flag("--quiet", options.quiet, "No progress, notes or summary");
    watch->add_option("--save", options.save, "Document to write at the end, .xml or .json")
        ->type_name("FILE");
    watch->add_option("--load", options.load, "Document to start from, .xml or .json")
        ->type_name("FILE");
    watch->footer(details);
    return watch;
}

void RunWatch(const WatchOptions& options) {
    if (!options.save.empty()) {
        CheckWritable(options.save);
    }
    Document document = options.load.empty() ? Document() : Document(options.load);
    WatchSession(options, document).Run();
}

}  // namespace velmora::tool
