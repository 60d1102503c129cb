// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/feed_thread.h"

#include "serve/feed_factory.h"
#include "terminal/signal_watcher.h"
#include "text/escaped_text.h"

#include <Poco/Exception.h>

namespace velmora::tool {

FeedThread::FeedThread(const SourceConfig& config, Plant& plant, ServiceLog& log,
                       ServiceManager& manager, int endDescriptor)
    : context{config, plant, log, manager, counts, endDescriptor}, feed(MakeFeed(context)) {}

FeedThread::~FeedThread() {
    if (thread.joinable()) {
        thread.join();
    }
}

void FeedThread::Start() {
    thread = std::thread([this] { RunUntilEnd(); });
}

void FeedThread::RunUntilEnd() {
    SignalWatcher signals(context.endDescriptor);
    const std::string source = "source " + Quoted(GetName());
    while (!signals.IsStopped()) {
        std::string reason;
        try {
            feed->Run();
            signals.WaitReadable(-1, SignalWatcher::Clock::now());
            if (!signals.IsStopped()) {
                context.log.Write(LogLevel::info, source + " has ended");
            }
            return;
        } catch (const Poco::Exception& error) {
            reason = error.displayText();
        } catch (const std::exception& error) {
            reason = error.what();
        }
        ++context.counts.failures;
        context.log.WriteLimited(LogLevel::error, source, source + ": " + reason);
        signals.WaitReadable(-1, SignalWatcher::Clock::now() + context.config.retry);
    }
}

}  // namespace velmora::tool
