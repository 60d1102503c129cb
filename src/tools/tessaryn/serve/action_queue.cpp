// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/action_queue.h"

#include "command_error.h"
#include "terminal/message.h"

#include <Poco/Exception.h>

#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace velmora::tool {

ActionQueue::ActionQueue(Options options, ServiceLog& log, Work work)
    : options(std::move(options)),
      log(log),
      work(std::move(work)),
      endDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (endDescriptor < 0) {
        throw CommandError("cannot start the " + this->options.name);
    }
    for (std::size_t i = 0; i < this->options.maxRunning; ++i) {
        threads.emplace_back([this] { Run(); });
    }
}

ActionQueue::~ActionQueue() {
    Close(Action::Clock::now());
    close(endDescriptor);
}

void ActionQueue::Push(const std::shared_ptr<const Event>& event) {
    const std::unique_lock lock(mutex);
    if (closed || waiting.size() >= options.maxWaiting) {
        log.WriteLimited(LogLevel::warning, "full " + options.name,
                         "the " + options.name + " has " + Counted(waiting.size(), "event") +
                             " waiting; one of rule '" + event->rule + "' was dropped");
        return;
    }
    waiting.push_back(event);
    changed.notify_all();
}

void ActionQueue::Run() {
    std::unique_lock lock(mutex);
    while (true) {
        changed.wait(lock, [this] { return closed || !waiting.empty(); });
        if (waiting.empty() || givenUp) {
            return;
        }
        const std::shared_ptr<const Event> event = std::move(waiting.front());
        waiting.pop_front();
        ++running;
        lock.unlock();
        Do(*event);
        lock.lock();
        --running;
        changed.notify_all();
    }
}

void ActionQueue::Do(const Event& event) {
    std::string reason;
    try {
        work(event);
        return;
    } catch (const Poco::Exception& error) {
        reason = error.displayText();
    } catch (const std::exception& error) {
        reason = error.what();
    }
    log.WriteLimited(LogLevel::warning, options.name, "the " + options.name + ": " + reason);
}

void ActionQueue::Close(Action::Clock::time_point until) {
    std::size_t lost = 0;
    {
        std::unique_lock lock(mutex);
        closed = true;
        changed.notify_all();
        changed.wait_until(lock, until, [this] { return waiting.empty() && running == 0; });
        lost = waiting.size() + running;
        givenUp = true;
        changed.notify_all();
        eventfd_write(endDescriptor, 1);
    }
    if (options.onGivenUp) {
        options.onGivenUp();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    threads.clear();
    if (lost > 0) {
        log.Write(LogLevel::warning,
                  "the " + options.name + " gave up " + Counted(lost, "event") + " at the end");
    }
    const std::lock_guard lock(mutex);
    waiting.clear();
}

bool ActionQueue::IsGivenUp() const {
    const std::lock_guard lock(mutex);
    return givenUp;
}

bool ActionQueue::Pause(std::chrono::milliseconds time) const {
    std::unique_lock lock(mutex);
    return !changed.wait_for(lock, time, [this] { return givenUp; });
}

}  // namespace velmora::tool
