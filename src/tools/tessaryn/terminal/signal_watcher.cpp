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

timespec Until(SignalWatcher::Clock::time_point moment) {
    using namespace std::chrono;
    const auto left =
        std::max(nanoseconds::zero(), nanoseconds(moment - SignalWatcher::Clock::now()));
    const auto whole = duration_cast<seconds>(left);
    return {static_cast<time_t>(whole.count()), static_cast<long>((left - whole).count())};
}

}  // namespace

SignalWatcher::SignalWatcher() {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : {SIGINT, SIGTERM}) {
        if (!IsIgnored(signal)) {
            sigaddset(&set, signal);
        }
    }
    sigprocmask(SIG_BLOCK, &set, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    signalDescriptor = signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
    if (signalDescriptor < 0) {
        throw CommandError("signals can not be waited for");
    }
}

SignalWatcher::~SignalWatcher() {
    close(signalDescriptor);
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
    // A signal that has been seen is not waited for again.
    pollfd watched[] = {{descriptor, events, 0}, {interrupted ? -1 : signalDescriptor, POLLIN, 0}};
    while (true) {
        const timespec left = until ? Until(*until) : timespec{};
        const int count = ppoll(watched, 2, until ? &left : nullptr, nullptr);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw CommandError("input and output can not be waited for");
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
