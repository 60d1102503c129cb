// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/record_session.h"

#include "command_error.h"
#include "commands/event_recorder.h"
#include "terminal/message.h"
#include "tessaryn/subscription_args.h"
#include "text/escaped_text.h"
#include "transfer/copy_entry.h"
#include "transfer/named_type.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <exception>
#include <unistd.h>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

const utils::Version firstVersion(1, 0, 0);

std::chrono::microseconds ParseWindow(const char* option, const std::string& text) {
    return text.empty() ? std::chrono::microseconds(0) : ParseDurationOption(option, text);
}

// The full name of a stream's type: the path with "." instead of "/".
std::string TypeName(std::string path) {
    std::replace(path.begin(), path.end(), '/', '.');
    return path;
}

}  // namespace

// Selects the samples of one stream, and writes them.
class RecordSession::Recorder {
  public:
    Recorder(const std::string& path, const tsn::StreamType& entries, RecordSession& session)
        : path(path),
          session(session),
          type(TypeName(path), firstVersion),
          kept(TypeName(path), firstVersion) {
        const std::vector<std::string>& wanted = session.columns;
        for (unsigned short id = 0; id < entries.GetNumEntries(); ++id) {
            const tsn::SampleEntry entry = entries.GetEntry(id);
            type.Get().Add(entry.key, entry.type, entry.initialSize);
            if (wanted.empty() || std::count(wanted.begin(), wanted.end(), entry.key) > 0) {
                kept.Get().Add(entry.key, entry.type, entry.initialSize);
                keptIds.push_back(id);
            }
        }
        if (keptIds.empty()) {
            throw CommandError("stream " + Quoted(path) + " has none of the --columns");
        }
        CheckRules(session.rules, type.Get(), session.options.allowUnknown,
                   session.options.source.quiet);
        for (NamedRule& rule : session.rules) {
            if (session.options.keep == "events") {
                events.emplace_back(rule, type.Get(), path, *session.writer);
            }
        }
    }

    void CheckEntries(const tsn::StreamType& entries) {
        if (!type.Get().HasSameLayout(entries)) {
            throw CommandError("the sources of stream " + Quoted(path) +
                               " have different entries; --type NAME:TYPE gives all a type");
        }
    }

    void Add(SampleSource& source) {
        const std::int64_t time = source.GetTime();
        tsn::Sample filled(&type.Get(), Poco::Timestamp(time));
        source.Fill(filled);
        tsn::Sample sample = Restamped(std::move(filled), Poco::Timestamp(time));
        if (!events.empty()) {
            AddToEvents(sample, source);
            return;
        }
        DropBefore(sample.GetTimeStamp() - session.before.count());
        const bool isMatch = Matches(sample, source);
        if (isMatch || session.options.keep == "all") {
            for (tsn::Sample& earlier : waiting) {
                Write(std::move(earlier));
            }
            waiting.clear();
            writeUntil = std::max(writeUntil, time + session.after.count());
            Write(std::move(sample));
        } else if (time <= writeUntil) {
            Write(std::move(sample));
        } else if (session.before.count() > 0) {
            waiting.push_back(std::move(sample));
        }
    }

    /// Writes the open events.
    void Flush() {
        for (EventRecorder& each : events) {
            each.Flush();
        }
    }

  private:
    bool Matches(tsn::Sample& sample, const SampleSource& source) {
        bool isMatch = false;
        for (NamedRule& rule : session.rules) {
            Evaluate(sample, source, rule, [&](tsn::SubscriptionArgs& args) {
                const bool applies = rule.isEverySample || rule.rule.Applies(args);
                rule.matches += applies ? 1U : 0U;
                isMatch = isMatch || applies;
            });
        }
        return isMatch;
    }

    void AddToEvents(tsn::Sample& sample, const SampleSource& source) {
        auto rule = session.rules.begin();
        for (EventRecorder& each : events) {
            Evaluate(sample, source, *rule++, [&](tsn::SubscriptionArgs& args) { each.Add(args); });
        }
    }

    // Adds the row and the rule to the message when evaluation throws.
    template <class Action>
    static void Evaluate(tsn::Sample& sample, const SampleSource& source, const NamedRule& rule,
                         Action action) {
        std::string failure;
        try {
            tsn::SubscriptionArgs args{tsn::pushed, &sample, nullptr};
            action(args);
            return;
        } catch (const Poco::Exception& error) {
            failure = error.displayText();
        } catch (const std::exception& error) {
            failure = error.what();
        }
        throw CommandError(source.GetPosition() + ": rule " + Quoted(rule.text) +
                           " cannot be evaluated: " + failure);
    }

    void DropBefore(const Poco::Timestamp& oldest) {
        while (!waiting.empty() && waiting.front().GetTimeStamp() < oldest) {
            waiting.pop_front();
        }
    }

    void Write(tsn::Sample&& sample) {
        if (session.columns.empty()) {
            session.writer->WriteIfNew(path, std::move(sample));
            return;
        }
        tsn::Sample part(&kept.Get(), Poco::Timestamp());
        unsigned short to = 0;
        for (const unsigned short from : keptIds) {
            CopyEntry(sample, from, part, to++);
        }
        session.writer->WriteIfNew(path, Restamped(std::move(part), sample.GetTimeStamp()));
    }

    std::string path;
    RecordSession& session;
    NamedType type;
    NamedType kept;
    std::vector<unsigned short> keptIds;
    // One for each rule, if events are kept.
    std::deque<EventRecorder> events;
    // Samples that may turn out to precede a match.
    std::deque<tsn::Sample> waiting;
    std::int64_t writeUntil = INT64_MIN;
};

RecordSession::RecordSession(const RecordOptions& options)
    : options(options),
      progress(!options.source.quiet && isatty(STDERR_FILENO) != 0),
      settings(MakeSourceSettings(options.source)),
      columns(std::exchange(settings.table.columns, {})),
      before(ParseWindow("--before", options.before)),
      after(ParseWindow("--after", options.after)),
      rules(ParseRules(options.rules, options.ruleFile)) {
    if (!options.to.ends_with(".db")) {
        throw CommandError("--to " + Quoted(options.to) + " does not end in .db");
    }
    if (rules.front().isEverySample && (before.count() > 0 || after.count() > 0)) {
        throw CommandError(
            "--before and --after need a rule; --rule 'temperature > 8.0' gives one");
    }
    const bool hasWindow = before.count() > 0 || after.count() > 0;
    if (options.keep == "events" && (rules.front().isEverySample || hasWindow)) {
        throw CommandError(
            "--keep events needs a rule, and neither --before nor --after: an event is one sample");
    }
    if (!options.duration.empty()) {
        signals.StopAfter(ParseDurationOption("--for", options.duration));
    }
    storage::HistoryWriterOptions writing;
    writing.onError = [this](const std::exception& failure) { OnError(failure.what()); };
    writer = std::make_unique<storage::HistoryWriter>(options.to, std::move(writing));
}

RecordSession::~RecordSession() = default;

std::string RecordSession::GetError() const {
    const std::lock_guard lock(errorMutex);
    return error;
}

// Called on the writer's thread. While writing is tried again, the reason is printed only once.
void RecordSession::OnError(const std::string& what) {
    const std::lock_guard lock(errorMutex);
    if (what != error) {
        error = what;
        PrintMessage("warning: ", what);
    }
}

bool RecordSession::HasMatches() const {
    return std::any_of(rules.begin(), rules.end(), [](const NamedRule& rule) {
        return rule.isEverySample || rule.matches > 0;
    });
}

void RecordSession::Run() {
    std::exception_ptr failure;
    try {
        ReadAll();
    } catch (...) {
        failure = std::current_exception();
    }
    progress.Clear();
    // Samples read before the failure are kept.
    writer->Close();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void RecordSession::ReadAll() {
    RowVisitor visitor;
    visitor.row = [this](const SourceRow& row) {
        GetRecorder(row.stream, row.type).Add(row.source);
        ++samples;
    };
    ReadSources(options.source, settings, signals, progress, visitor);
    for (const auto& [name, recorder] : recorders) {
        recorder->Flush();
    }
}

RecordSession::Recorder& RecordSession::GetRecorder(std::string_view name,
                                                    const tsn::StreamType& type) {
    const auto place = recorders.find(name);
    if (place != recorders.end()) {
        place->second->CheckEntries(type);
        return *place->second;
    }
    auto added = std::make_unique<Recorder>(std::string(name), type, *this);
    return *recorders.emplace(name, std::move(added)).first->second;
}

}  // namespace velmora::tool
