// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/nats_feed.h"

#include "nats/follower.h"
#include "remote/follower_options.h"
#include "remote/nats_link.h"
#include "terminal/signal_watcher.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"
#include "text/escaped_text.h"
#include "transfer/copy_entry.h"

#include <Poco/Logger.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

class NatsFeed : public Feed {
  public:
    explicit NatsFeed(const FeedContext& context)
        : context(context), address(ParseNatsAddress(context.config.from)) {
        // Keeps the log alive: the client library may log for another feed after this one was
        // destroyed.
        LogNatsTo([&log = context.log](bool isWarning, const std::string& message) {
            log.WriteLimited(isWarning ? LogLevel::warning : LogLevel::info, "nats " + message,
                             message);
        });
    }

    void Run() override {
        SignalWatcher signals(context.endDescriptor);
        const std::string name = "source " + Quoted(context.config.name);
        const auto warn = [&](const std::string& message) {
            context.log.Write(LogLevel::warning, name + ": " + message);
        };
        NatsLink link(address, context.config.nats);
        if (!link.WaitForServer(signals, warn)) {
            return;
        }
        link.CheckJetStream(warn);
        if (context.log.Forget(name)) {
            context.log.Write(LogLevel::info, name + " is read again");
        }
        nats::FollowerOptions options = MakeFollowerOptions(context.config.nats);
        options.takeSample = [this](const std::string& path,
                                    const exchange::FrameHeader& /*header*/,
                                    std::unique_ptr<tsn::Sample> sample) { Push(path, *sample); };
        options.beforeAcknowledge = [this] { context.plant.Commit(); };
        const nats::Follower follower(link.Get(), types, streams,
                                      {address.subject.empty() ? ">" : address.subject}, options);
        nats::FollowerStatistics before;
        while (!signals.IsStopped()) {
            constexpr std::chrono::milliseconds interval(500);
            signals.WaitReadable(-1, SignalWatcher::Clock::now() + interval);
            before = Count(before, follower.GetStatistics());
        }
    }

  private:
    // Describes messages that could not be read.
    nats::FollowerStatistics Count(const nats::FollowerStatistics& before,
                                   const nats::FollowerStatistics& now) const {
        const std::uint64_t lost = now.missing + now.unknown + now.refused - before.missing -
                                   before.unknown - before.refused;
        if (lost > 0) {
            context.counts.skipped += lost;
            context.log.WriteLimited(
                LogLevel::warning, "rows of " + context.config.name,
                "source " + Quoted(context.config.name) + ": " + DescribeLosses(now));
        }
        return now;
    }

    // Called on the follower's thread.
    void Push(const std::string& path, const tsn::Sample& sample) {
        const std::string& own = context.config.stream;
        try {
            const PlantStream*& target = targets[{path, sample.GetStreamType()}];
            if (target == nullptr) {
                target = &context.plant.OpenStream(own.empty() ? path : own,
                                                   *sample.GetStreamType(), {});
            }
            auto pushed = std::make_unique<tsn::Sample>(target->stream->GetStreamType(),
                                                        sample.GetTimeStamp());
            CopyEntries(sample, *pushed);
            // Samples that were not acknowledged when the service ended are delivered again.
            context.plant.Push(*target, std::move(pushed), true);
            ++context.counts.rows;
        } catch (const std::exception& error) {
            ++context.counts.skipped;
            context.log.WriteLimited(LogLevel::warning, "stream of " + context.config.name,
                                     address.shown + ": " + error.what());
        }
    }

    FeedContext context;
    NatsAddress address;
    tsn::StreamTypeRepository types{Poco::Logger::root(), '/'};
    tsn::StreamRepository streams{Poco::Logger::root(), '/'};
    // Used by the follower's thread only.
    std::map<std::pair<std::string, const tsn::StreamType*>, const PlantStream*> targets;
};

}  // namespace

std::unique_ptr<Feed> MakeNatsFeed(const FeedContext& context) {
    return std::make_unique<NatsFeed>(context);
}

}  // namespace velmora::tool
