// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/publish_session.h"

#include "command_error.h"
#include "common/version.h"
#include "nats/nats_exception.h"
#include "nats/publisher.h"
#include "remote/nats_link.h"
#include "source/open_sources.h"
#include "terminal/message.h"
#include "terminal/progress_bar.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_collection.h"
#include "tessaryn/stream_type_repository.h"
#include "text/escaped_text.h"
#include "transfer/copy_entry.h"

#include <Poco/Logger.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

using Clock = SignalWatcher::Clock;

constexpr std::size_t capacity = 10'000;

void Warn(const std::string& message) {
    PrintMessage("warning: ", message);
}

NatsAddress ParseTarget(const std::string& url) {
    if (!IsNatsAddress(url)) {
        throw CommandError("--to " + Quoted(url) +
                           " is not the URL of a NATS server such as nats://10.0.0.1:4222");
    }
    NatsAddress address = ParseNatsAddress(url);
    if (!address.subject.empty()) {
        throw CommandError("--to names the subject " + Quoted(address.subject) +
                           ", but the streams' names are the subjects; --prefix puts groups in "
                           "front of them");
    }
    return address;
}

bool AreFiles(const std::vector<std::string>& paths) {
    return std::all_of(paths.begin(), paths.end(), [](const std::string& path) {
        std::error_code ignored;
        return path != "-" && path != "host" && !IsNatsAddress(path) &&
               std::filesystem::is_regular_file(path, ignored);
    });
}

// One run of the command.
class PublishSession {
  public:
    explicit PublishSession(const PublishOptions& options)
        : options(options),
          progress(!options.source.quiet && isatty(STDERR_FILENO) != 0),
          settings(MakeSourceSettings(options.source)),
          isRepeatable(AreFiles(ExpandSources(options.source.sources))),
          link(ParseTarget(options.to), settings.nats) {
        if (!options.duration.empty()) {
            signals.StopAfter(ParseDurationOption("--for", options.duration));
        }
        LogNatsTo([](bool isWarning, const std::string& message) {
            PrintMessage(isWarning ? "warning: " : "", message);
        });
    }

    PublishReport Run() {
        if (link.WaitForServer(signals, Warn)) {
            nats::PublisherOptions publishing;
            publishing.jetStream = settings.nats.jetStream;
            publishing.capacity = capacity;
            // No push has to wait: `WaitForRoom` is called before.
            publishing.overflow = delivery::Overflow::wait;
            publishing.maxWait = std::chrono::hours(1);
            publisher.emplace(link.Get(), streams, std::vector<std::string>{">"}, publishing);
            RowVisitor visitor;
            visitor.row = [this](const SourceRow& row) { Add(row); };
            report.read = ReadSources(options.source, settings, signals, progress, visitor);
            progress.Clear();
            Finish();
            const nats::PublisherStatistics statistics = publisher->GetStatistics();
            report.acknowledged = statistics.acknowledged;
            report.duplicates = statistics.duplicates;
            report.repeated = statistics.repeated;
            report.unsent += pushed - std::min(pushed, statistics.acknowledged);
        }
        report.isInterrupted = signals.IsInterrupted();
        return report;
    }

  private:
    // A stream, and the point up to which it was already published.
    struct Target {
        tsn::Stream* stream = nullptr;
        const tsn::StreamType* checked = nullptr;
        std::uint64_t rows = 0;
        std::uint64_t before = 0;
        std::unique_ptr<tsn::Sample> last{};
    };

    // How a stream of the sources compares with the server's.
    struct Comparison {
        nats::ResumePoint point;
        std::uint64_t rows = 0;
        bool hasNewest = false;
        bool isSame = true;
    };

    void Add(const SourceRow& row) {
        Target& target = FindTarget(row);
        if (++target.rows <= target.before) {
            ++report.before;
            return;
        }
        const Poco::Timestamp time(row.source.GetTime());
        tsn::Sample filled(target.stream->GetStreamType(), time);
        row.source.Fill(filled);
        auto sample = std::make_unique<tsn::Sample>(Restamped(std::move(filled), time));
        // Each sample carries the number up to which all samples have arrived. The last one is sent
        // after the others, so that a repeated command finds out that nothing is left to send.
        if (isRepeatable && !settings.follow) {
            sample.swap(target.last);
        }
        if (sample != nullptr) {
            Push(target, std::move(sample));
        }
    }

    Target& FindTarget(const SourceRow& row) {
        auto place = targets.find(row.stream);
        if (place == targets.end()) {
            place =
                targets.emplace(row.stream, MakeTarget(std::string(row.stream), row.type)).first;
        }
        Target& target = place->second;
        if (target.checked != &row.type) {
            if (!target.stream->GetStreamType()->HasSameLayout(row.type)) {
                throw CommandError("the sources of stream " + Quoted(row.stream) +
                                   " have different entries; --type NAME:TYPE gives all a type");
            }
            target.checked = &row.type;
        }
        return target;
    }

    std::string GetPath(const std::string& name) const {
        std::string path = options.prefix.empty() ? name : options.prefix + '/' + name;
        if (path.empty() || path.front() == '/' || path.back() == '/' ||
            path.find("//") != std::string::npos) {
            throw CommandError("a stream cannot have the name " + Quoted(path));
        }
        return path;
    }

    Target MakeTarget(const std::string& name, const tsn::StreamType& layout) {
        const std::string path = GetPath(name);
        Target target;
        target.checked = &layout;
        tsn::StreamType& type = types.Add(path)->PushCopy(layout, utils::Version(1, 0, 0));
        target.stream = streams.AddStream(path, &type, 1);
        if (target.stream == nullptr) {
            throw CommandError("a stream cannot have the name " + Quoted(path));
        }
        target.before = isRepeatable ? Resume(name, path) : 0;
        publisher->Rescan();
        return target;
    }

    // How many samples of the stream were already published.
    std::uint64_t Resume(const std::string& name, const std::string& path) {
        if (!isCompared && GetResumePoint(path).newest == 0) {
            return 0;
        }
        Compare();
        const Comparison& found = compared[name];
        if (found.point.newest == 0) {
            return 0;
        }
        if (found.isSame && found.hasNewest) {
            return Retry([&] { return publisher->Resume(path); }).sequence;
        }
        if (!options.source.quiet) {
            progress.Clear();
            PrintMessage("note: ", "the server has other samples of stream " + Quoted(path) +
                                       "; all that are read are published");
        }
        return 0;
    }

    // Reads the sources once, to check that they have the server's samples.
    void Compare() {
        if (std::exchange(isCompared, true)) {
            return;
        }
        RowVisitor visitor;
        visitor.row = [this](const SourceRow& row) {
            const auto [place, isNew] = compared.try_emplace(std::string(row.stream));
            Comparison& each = place->second;
            if (isNew) {
                each.point = GetResumePoint(GetPath(place->first));
            }
            ++each.rows;
            const Poco::Timestamp time(row.source.GetTime());
            if (each.rows == each.point.sequence) {
                each.isSame = time == each.point.time;
            }
            if (each.rows == each.point.newest) {
                each.hasNewest = time == each.point.newestTime;
            }
        };
        SourceOptions once = options.source;
        once.quiet = true;
        SourceSettings unfollowed = settings;
        unfollowed.follow = false;
        ProgressBar hidden(false);
        ReadSources(once, unfollowed, signals, hidden, visitor);
    }

    nats::ResumePoint GetResumePoint(const std::string& path) {
        return Retry([&] { return publisher->GetResumePoint(path); });
    }

    // Repeats the request until the server answers, or the run ends.
    template <class Ask>
    nats::ResumePoint Retry(Ask ask) {
        constexpr std::chrono::milliseconds interval(250);
        while (true) {
            try {
                return ask();
            } catch (const nats::NatsException&) {
                if (signals.WaitReadable(-1, Clock::now() + interval) ==
                    SignalWatcher::Event::stopped) {
                    return {};
                }
            }
        }
    }

    void Push(Target& target, std::unique_ptr<tsn::Sample> sample) {
        if (!WaitForRoom()) {
            ++report.unsent;
            return;
        }
        target.stream->PushNew(sample.release());
        ++pushed;
    }

    // Waits until no queue is full; false at the end of the run.
    bool WaitForRoom() {
        constexpr std::chrono::milliseconds interval(5);
        while (room == 0) {
            room = capacity -
                   std::min<std::uint64_t>(publisher->GetStatistics().queues.waiting, capacity);
            if (room == 0 && signals.WaitReadable(-1, Clock::now() + interval) ==
                                 SignalWatcher::Event::stopped) {
                return false;
            }
        }
        --room;
        return true;
    }

    // Sends the last samples.
    void Finish() {
        bool isOpen = Flush();
        for (auto& [name, target] : targets) {
            if (target.last != nullptr) {
                if (isOpen) {
                    Push(target, std::move(target.last));
                } else {
                    ++report.unsent;
                }
            }
        }
        if (isOpen) {
            Flush();
        }
    }

    // Waits until all samples are acknowledged; false if the run ends before.
    bool Flush() {
        constexpr std::chrono::milliseconds interval(50);
        constexpr std::chrono::seconds patience(10);
        while (!publisher->Flush(interval)) {
            if (signals.WaitReadable(-1, Clock::now()) != SignalWatcher::Event::stopped) {
                continue;
            }
            flushUntil = flushUntil.value_or(Clock::now() + patience);
            if (Clock::now() >= *flushUntil || !link.Get().IsConnected()) {
                return false;
            }
        }
        return true;
    }

    const PublishOptions& options;
    // Constructed before threads start, so that they inherit the signal mask.
    SignalWatcher signals;
    ProgressBar progress;
    SourceSettings settings;
    bool isRepeatable;
    NatsLink link;
    tsn::StreamTypeRepository types{Poco::Logger::root(), '/'};
    tsn::StreamRepository streams{Poco::Logger::root(), '/'};
    std::optional<nats::Publisher> publisher;
    std::map<std::string, Target, std::less<>> targets;
    std::map<std::string, Comparison> compared;
    bool isCompared = false;
    std::uint64_t room = 0;
    std::uint64_t pushed = 0;
    std::optional<Clock::time_point> flushUntil;
    PublishReport report;
};

}  // namespace

PublishReport PublishSources(const PublishOptions& options) {
    return PublishSession(options).Run();
}

}  // namespace velmora::tool
