// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "remote/nats_source.h"

#include "command_error.h"
#include "nats/follower.h"
#include "remote/follower_options.h"
#include "remote/nats_link.h"
#include "terminal/message.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"
#include "transfer/copy_entry.h"

#include <Poco/Logger.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

void Warn(const std::string& message) {
    PrintMessage("warning: ", message);
}

class NatsSource : public SampleSource {
  public:
    NatsSource(const NatsAddress& address, const NatsSettings& settings, SignalWatcher& signals)
        : address(address),
          settings(settings),
          signals(signals),
          descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
          link(address, settings) {
        if (descriptor < 0) {
            throw CommandError("cannot wait for a NATS server");
        }
        LogNatsTo([](bool isWarning, const std::string& message) {
            PrintMessage(isWarning ? "warning: " : "", message);
        });
    }

    ~NatsSource() override {
        {
            const std::lock_guard lock(mutex);
            isEnding = true;
        }
        hasRoom.notify_all();
        follower.reset();
        close(descriptor);
    }

    void BeforeWait(std::function<void(const SourceProgress&)> action) override {
        beforeWait = std::move(action);
    }

    bool Open(tsn::StreamType& /*type*/) override {
        if (!link.WaitForServer(signals, Warn)) {
            return false;
        }
        link.CheckJetStream(Warn);
        nats::FollowerOptions options = MakeFollowerOptions(settings);
        options.takeSample = [this](const std::string& path,
                                    const exchange::FrameHeader& /*header*/,
                                    std::unique_ptr<tsn::Sample> sample) {
            Take({path, std::move(sample)});
        };
        const std::string& subject = address.subject;
        follower.emplace(link.Get(), types, streams,
                         std::vector<std::string>{subject.empty() ? ">" : subject}, options);
        return true;
    }

    bool Next() override {
        if (!rows.empty()) {
            rows.pop_front();
        }
        while (rows.empty()) {
            if (beforeWait) {
                beforeWait({});
            }
            if (signals.WaitReadable(descriptor) == SignalWatcher::Event::stopped) {
                return false;
            }
            eventfd_t ignored = 0;
            eventfd_read(descriptor, &ignored);
            {
                const std::lock_guard lock(mutex);
                rows.swap(waiting);
            }
            hasRoom.notify_all();
        }
        return true;
    }

    bool HasRowTypes() const override { return true; }
    tsn::StreamType* GetRowType() const override { return rows.front().sample->GetStreamType(); }
    std::int64_t GetTime() const override {
        return rows.front().sample->GetTimeStamp().epochMicroseconds();
    }
    void Fill(tsn::Sample& sample) override { CopyEntries(*rows.front().sample, sample); }
    std::string_view GetStreamName() const override { return rows.front().path; }
    std::string GetPosition() const override {
        return address.shown + (rows.empty() ? "" : ": stream " + rows.front().path);
    }

    SourceCounts GetCounts() const override {
        SourceCounts counts;
        if (follower) {
            const nats::FollowerStatistics statistics = follower->GetStatistics();
            counts.skipped = statistics.missing + statistics.unknown + statistics.refused;
            counts.firstSkipped = address.shown + ": " + DescribeLosses(statistics);
        }
        return counts;
    }

  private:
    struct Row {
        std::string path;
        std::unique_ptr<tsn::Sample> sample;
    };

    // Called on the follower's thread, which waits for room.
    void Take(Row&& row) {
        constexpr std::size_t maxWaiting = 10'000;
        std::unique_lock lock(mutex);
        hasRoom.wait(lock, [this] { return isEnding || waiting.size() < maxWaiting; });
        const bool wasEmpty = waiting.empty();
        waiting.push_back(std::move(row));
        if (wasEmpty) {
            eventfd_write(descriptor, 1);
        }
    }

    const NatsAddress address;
    const NatsSettings settings;
    SignalWatcher& signals;
    int descriptor;
    std::function<void(const SourceProgress&)> beforeWait;
    tsn::StreamTypeRepository types{Poco::Logger::root(), '/'};
    tsn::StreamRepository streams{Poco::Logger::root(), '/'};
    // Taken from `waiting`; the first one is the current row.
    std::deque<Row> rows;
    std::mutex mutex;
    std::condition_variable hasRoom;
    // Guarded by the mutex.
    std::deque<Row> waiting;
    bool isEnding = false;

    NatsLink link;
    std::optional<nats::Follower> follower;
};

}  // namespace

bool HasNats() {
    return true;
}

std::unique_ptr<SampleSource> OpenNatsSource(const std::string& url, const NatsSettings& settings,
                                             SignalWatcher& signals) {
    return std::make_unique<NatsSource>(ParseNatsAddress(url), settings, signals);
}

}  // namespace velmora::tool
