// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/record_session.h"

#include "command_error.h"
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

// The full name of a stream's type: the path, with "." in place of "/".
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
        DropBefore(sample.GetTimeStamp() - session.before.count());
        if (Matches(sample, source)) {
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

  private:
    bool Matches(tsn::Sample& sample, const SampleSource& source) {
        bool isMatch = false;
        for (NamedRule& rule : session.rules) {
            std::string failure;
            try {
                tsn::SubscriptionArgs args{tsn::pushed, &sample, nullptr};
                const bool applies = rule.isEverySample || rule.rule.Applies(args);
                rule.matches += applies ? 1U : 0U;
                isMatch = isMatch || applies;
            } catch (const Poco::Exception& error) {
                failure = error.displayText();
            } catch (const std::exception& error) {
                failure = error.what();
            }
            if (!failure.empty()) {
                throw CommandError(source.GetPosition() + ": rule " + Quoted(rule.text) +
                                   " cannot be evaluated: " + failure);
            }
        }
        return isMatch;
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
    // Samples that may come to stand before a match.
    std::deque<tsn::Sample> waiting;
    std::int64_t writeUntil = INT64_MIN;
};

RecordSession::RecordSession(const RecordOptions& options)
    : options(options),
      progress(!options.source.quiet && isatty(STDERR_FILENO) != 0),
      settings(MakeSourceSettings(options.source)),
      columns(std::exchange(settings.table.columns, {})),
      range(MakeTimeRange(options.source)),
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

// Is called by the writer's thread; while writing is tried again, the reason is printed once.
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
    // What was read before the failure is kept.
    writer->Close();
    if (failure) {
        std::rethrow_exception(failure);
    }
}

void RecordSession::ReadAll() {
    const std::vector<std::string> paths = ExpandSources(options.source.sources);
    for (const std::string& path : paths) {
        for (const NamedSource& each : OpenSources(path, paths, settings, signals)) {
            Read(each.stream, *each.source);
        }
    }
}

void RecordSession::Read(const std::string& sourceStream, SampleSource& source) {
    source.BeforeWait([this](const SourceProgress& read) {
        progress.Update(read.bytesRead, read.bytes, samples);
    });
    tsn::StreamType type;
    if (!source.Open(type)) {
        return;
    }
    if (!options.source.quiet) {
        for (const std::string& note : source.GetNotes()) {
            progress.Clear();
            PrintMessage("note: ", note);
        }
    }
    const bool isJoined = !options.source.stream.empty();
    while (!signals.IsStopped() && source.Next()) {
        if (range.Contains(source.GetTime())) {
            const std::string_view own = source.GetStreamName();
            GetRecorder(own.empty() || isJoined ? std::string_view(sourceStream) : own, type)
                .Add(source);
            ++samples;
        }
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
