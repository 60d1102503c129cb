// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/service.h"

#include "command_error.h"
#include "remote/nats_address.h"
#include "serve/config_reader.h"
#include "terminal/message.h"
#include "text/escaped_text.h"

#include <Poco/StringTokenizer.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>
#include <utility>

namespace velmora::tool {

namespace {

// How often limits, conditions and new streams are checked.
constexpr std::chrono::milliseconds tickInterval(500);
// The time in which sources are expected to have added their streams.
constexpr std::chrono::seconds idleTime(10);

// Opens a descriptor from which signals are read. Must be called before threads start, so that they
// inherit the mask.
int OpenSignals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&set, signal);
    }
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    const int descriptor = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (descriptor < 0) {
        throw CommandError("cannot wait for signals");
    }
    // A connection that a peer has closed is an error of writing to it, not a signal.
    std::signal(SIGPIPE, SIG_IGN);
    return descriptor;
}

}  // namespace

Service::Service(std::string file, ServeConfig config)
    : file(std::move(file)),
      config(std::move(config)),
      signalDescriptor(OpenSignals()),
      endDescriptor(eventfd(0, EFD_CLOEXEC)),
      plant(this->config, log),
      rules(log),
      page(this->config, plant, rules, feeds) {
    if (endDescriptor < 0) {
        throw CommandError("cannot wait for the end of the service");
    }
}

Service::~Service() {
    // If the start failed, feeds may be running.
    eventfd_write(endDescriptor, 1);
    page.Stop();
    feeds.clear();
    close(signalDescriptor);
    close(endDescriptor);
}

void Service::Run() {
    Start();
    manager.TellReady(Describe());
    log.Write(LogLevel::info, Describe());
    Wait();
    Stop();
}

void Service::Start() {
    plant.OnNewStream([this](const PlantStream& stream) { rules.Watch(stream); });
    plant.Open();
    rules.Replace(config.reactions);
    for (const SourceConfig& source : config.sources) {
        feeds.push_back(std::make_unique<FeedThread>(source, plant, log, manager, endDescriptor));
    }
    page.Start();
    for (const auto& feed : feeds) {
        feed->Start();
    }
    idleWarning = Clock::now() + idleTime;
    if (config.checkpoint) {
        nextSave = Clock::now() + config.checkpoint->interval;
    }
}

std::string Service::Describe() const {
    std::string text = "watching " + Counted(config.sources.size(), "source") + " (";
    for (std::size_t i = 0; i < config.sources.size(); ++i) {
        constexpr std::size_t maxNamed = 5;
        text += i == 0 ? "" : ", ";
        if (i == maxNamed) {
            text += "...";
            break;
        }
        text += config.sources[i].name + " from " + WithoutCredentials(config.sources[i].from);
    }
    text += ") with " + Counted(config.reactions.rules.size(), "rule");
    if (!plant.GetHistoryFile().empty()) {
        text += ", history in " + plant.GetHistoryFile();
    }
    if (!page.GetUrl().empty()) {
        text += ", page at " + page.GetUrl();
    }
    return text;
}

void Service::Wait() {
    pollfd watched{signalDescriptor, POLLIN, 0};
    auto nextTick = Clock::now() + tickInterval;
    while (true) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(nextTick - Clock::now());
        poll(&watched, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
        signalfd_siginfo info{};
        while (read(signalDescriptor, &info, sizeof(info)) == sizeof(info)) {
            if (info.ssi_signo != SIGHUP) {
                return;
            }
            Reload();
        }
        if (Clock::now() >= nextTick) {
            Tick();
            nextTick = Clock::now() + tickInterval;
        }
    }
}

void Service::Tick() {
    manager.TellAlive();
    rules.Flush();
    log.Flush();
    if (idleWarning && Clock::now() >= *idleWarning) {
        rules.WarnOfIdle();
        idleWarning.reset();
    }
    if (nextSave && Clock::now() >= *nextSave) {
        plant.Save();
        nextSave = Clock::now() + config.checkpoint->interval;
    }
}

void Service::Reload() {
    manager.TellReloading();
    try {
        ServeConfig changed = ReadServeConfig(file);
        rules.Replace(changed.reactions);
        page.ShowRules();
        if (config.rest != changed.rest) {
            log.Write(LogLevel::warning,
                      "other parts than rules, commands and webhooks have changed in " + file +
                          "; they take effect when the service is started again");
        }
        config.reactions = std::move(changed.reactions);
        idleWarning = Clock::now() + idleTime;
        log.Write(LogLevel::info,
                  "read " + Counted(config.reactions.rules.size(), "rule") + " again from " + file);
    } catch (const CommandError& error) {
        log.Write(LogLevel::error, "the rules stay as they were: " + std::string(error.what()));
        // Further mistakes, one on each line.
        const Poco::StringTokenizer lines(
            error.GetDetails(), "\n",
            Poco::StringTokenizer::TOK_TRIM | Poco::StringTokenizer::TOK_IGNORE_EMPTY);
        for (const std::string& line : lines) {
            log.Write(LogLevel::error, line);
        }
    } catch (const std::exception& error) {
        log.Write(LogLevel::error, "the rules stay as they were: " + std::string(error.what()));
    }
    manager.TellReady(Describe());
}

void Service::Stop() {
    const auto until = Clock::now() + config.stopTimeout;
    manager.TellStopping("ending");
    log.Write(LogLevel::info, "ending");
    eventfd_write(endDescriptor, 1);
    page.Stop();
    feeds.clear();
    rules.Close(until);
    plant.Close(std::max(std::chrono::milliseconds(0),
                         std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now())));
    plant.Save();
    log.Flush(true);
    const storage::HistoryWriterStatistics statistics = plant.GetHistoryStatistics();
    log.Write(LogLevel::info,
              "ended after " + Counted(plant.GetPushed(), "sample") +
                  (plant.GetHistoryFile().empty() ? std::string()
                                                  : ", " + std::to_string(statistics.written) +
                                                        " of them written to the history"));
}

}  // namespace velmora::tool
