// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "terminal/signal_watcher.h"

#include "command_error.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace velmora::tool {

namespace {

bool IsIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

timespec GetTimeLeft(SignalWatcher::Clock::time_point until) {
    using namespace std::chrono;
    const auto left =
        std::max(nanoseconds::zero(), nanoseconds(until - SignalWatcher::Clock::now()));
    const auto leftSeconds = duration_cast<seconds>(left);
    return {static_cast<time_t>(leftSeconds.count()),
            static_cast<long>((left - leftSeconds).count())};
}

}  // namespace

SignalWatcher::SignalWatcher() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (!IsIgnored(signal)) {
            sigaddset(&set, signal);
        }
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);
    signalDescriptor = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (signalDescriptor < 0) {
        throw CommandError("cannot wait for signals");
    }
}

SignalWatcher::SignalWatcher(int endDescriptor)
    : signalDescriptor(endDescriptor), ownsDescriptor(false) {}

SignalWatcher::~SignalWatcher() {
    if (ownsDescriptor) {
        close(signalDescriptor);
    }
}

void SignalWatcher::StopAfter(std::chrono::microseconds duration) {
    deadline = Clock::now() + duration;
}

SignalWatcher::Event SignalWatcher::WaitReadable(int descriptor,
                                                 std::optional<Clock::time_point> until) {
    if (stopped) {
        return Event::stopped;
    }
    const bool deadlineFirst = deadline && (!until || *deadline <= *until);
    const Event event = Poll(descriptor, POLLIN, deadlineFirst ? deadline : until);
    // InputFile that never pauses must not outlast the deadline.
    if (event != Event::stopped && deadline && Clock::now() >= *deadline) {
        stopped = true;
    }
    return stopped ? Event::stopped : event;
}

bool SignalWatcher::WaitWritable(int descriptor) {
    if (!interrupted && Poll(descriptor, POLLOUT, std::nullopt) == Event::ready) {
        return true;
    }
    return Poll(descriptor, POLLOUT, Clock::now() + std::chrono::seconds(1)) == Event::ready;
}

SignalWatcher::Event SignalWatcher::Poll(int descriptor, short events,
                                         std::optional<Clock::time_point> until) {
    // After the first signal, pending output is still written.
    pollfd watched[] = {{descriptor, events, 0}, {interrupted ? -1 : signalDescriptor, POLLIN, 0}};
    while (true) {
        const timespec left = until ? GetTimeLeft(*until) : timespec{};
        const int count = ppoll(watched, 2, until ? &left : nullptr, nullptr);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw CommandError("cannot wait for input and output");
        }
        if (watched[1].revents != 0) {
            stopped = true;
            interrupted = true;
            return Event::stopped;
        }
        return watched[0].revents != 0 ? Event::ready : Event::timeout;
    }
}

}  // namespace velmora::tool
