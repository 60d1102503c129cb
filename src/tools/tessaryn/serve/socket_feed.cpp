// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/socket_feed.h"

#include "command_error.h"
#include "serve/row_pump.h"
#include "terminal/message.h"
#include "text/escaped_text.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <list>
#include <sys/socket.h>
#include <systemd/sd-daemon.h>
#include <thread>
#include <unistd.h>

namespace velmora::tool {

namespace {

constexpr std::size_t maxConnections = 64;

// A thread that reads a connection.
struct Reader {
    std::atomic<bool> hasEnded = false;
    std::thread thread{};
};

// Joins those that have ended.
void Collect(std::list<Reader>& readers) {
    for (auto reader = readers.begin(); reader != readers.end();) {
        if (reader->hasEnded) {
            reader->thread.join();
            reader = readers.erase(reader);
        } else {
            ++reader;
        }
    }
}

}  // namespace

SocketFeed::SocketFeed(const FeedContext& context, const std::string& name)
    : context(context), name(name), descriptor(this->context.manager.TakeDescriptor(name)) {
    if (descriptor < 0) {
        throw CommandError("source " + Quoted(context.config.name) +
                           ": systemd has handed over no descriptor of the name " + Quoted(name));
    }
    fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
}

SocketFeed::~SocketFeed() {
    close(descriptor);
}

void SocketFeed::Run() {
    SignalWatcher signals(context.endDescriptor);
    if (sd_is_socket(descriptor, AF_UNSPEC, SOCK_STREAM, 1) > 0) {
        Accept(signals);
    } else {
        // A duplicate, since the source closes its descriptor, also when it fails and is opened
        // again.
        Read(fcntl(descriptor, F_DUPFD_CLOEXEC, 0), signals);
    }
}

void SocketFeed::Accept(SignalWatcher& signals) {
    std::list<Reader> readers;
    while (signals.WaitReadable(descriptor) == SignalWatcher::Event::ready) {
        const int connection = accept4(descriptor, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        Collect(readers);
        if (connection >= 0 && readers.size() < maxConnections) {
            Reader& reader = readers.emplace_back();
            reader.thread = std::thread([this, connection, &reader] {
                ReadConnection(connection);
                reader.hasEnded = true;
            });
        } else if (connection >= 0) {
            close(connection);
            context.log.WriteLimited(LogLevel::warning, "connections of " + name,
                                     "socket " + Quoted(name) + " has " +
                                         Counted(maxConnections, "connection") +
                                         " already; another one was closed");
        } else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) {
            context.log.WriteLimited(
                LogLevel::error, "connections of " + name,
                "socket " + Quoted(name) + " cannot accept: " + std::strerror(errno));
            signals.WaitReadable(-1, SignalWatcher::Clock::now() + std::chrono::seconds(1));
        }
    }
    for (Reader& reader : readers) {
        reader.thread.join();
    }
}

void SocketFeed::ReadConnection(int connection) const {
    try {
        SignalWatcher signals(context.endDescriptor);
        Read(connection, signals);
    } catch (const std::exception& error) {
        ++context.counts.failures;
        context.log.WriteLimited(LogLevel::warning, "connection of " + name, error.what());
    }
}

void SocketFeed::Read(int input, SignalWatcher& signals) const {
    if (input < 0) {
        throw CommandError("cannot read socket " + Quoted(name) + ": " + std::strerror(errno));
    }
    auto file = std::make_unique<InputFile>(input, "socket:" + name, signals);
    SourceSettings settings = MakeSourceSettings(context);
    const std::string stream = settings.streamName.empty() ? name : settings.streamName;
    settings.table.likelyTypes = context.plant.GetLikelyTypes(stream);
    const NamedSource named = OpenTable(std::move(file), stream, settings);
    RowPump pump(context, stream, false);
    if (pump.Open(*named.source)) {
        pump.PushAll(signals);
    }
}

}  // namespace velmora::tool
