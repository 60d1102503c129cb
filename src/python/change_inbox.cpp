// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "change_inbox.h"

#include <cerrno>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace velmora::python {

using delivery::Overflow;

ChangeInbox::ChangeInbox(std::size_t capacity, Overflow overflow)
    : capacity(overflow == Overflow::keepLatest ? 1 : capacity), overflow(overflow) {}

ChangeInbox::~ChangeInbox() {
    if (descriptor >= 0) {
        ::close(descriptor);
    }
}

void ChangeInbox::Put(Change& change) {
    std::unique_lock lock(guard);
    if (overflow == Overflow::wait) {
        left.wait(lock, [&] { return !IsFull() || hasEnded; });
    }
    lastPut = change.sequence;
    if (hasEnded || (IsFull() && overflow == Overflow::dropNewest)) {
        ++counts.dropped;
        return;
    }
    if (IsFull()) {
        waiting.pop_front();
        ++counts.dropped;
    }
    waiting.push_back(std::move(change));
    Signal();
    lock.unlock();
    arrived.notify_one();
}

void ChangeInbox::End() {
    const std::lock_guard lock(guard);
    hasEnded = true;
    Signal();
    arrived.notify_all();
    left.notify_all();
}

void ChangeInbox::Close() {
    std::deque<Change> rest;
    const std::lock_guard lock(guard);
    counts.dropped += waiting.size();
    waiting.swap(rest);
    hasEnded = true;
    isInHand = false;
    Signal();
    arrived.notify_all();
    left.notify_all();
}

std::optional<ChangeInbox::Change> ChangeInbox::Take(std::chrono::microseconds timeout) {
    std::unique_lock lock(guard);
    isInHand = false;
    left.notify_all();
    arrived.wait_for(lock, timeout, [&] { return !waiting.empty() || hasEnded; });
    if (waiting.empty()) {
        return std::nullopt;
    }
    std::optional<Change> taken(std::move(waiting.front()));
    waiting.pop_front();
    taken->dropped = taken->sequence - lastTaken - 1;
    lastTaken = taken->sequence;
    ++counts.taken;
    isInHand = true;
    if (waiting.empty() && !hasEnded) {
        Unsignal();
    }
    left.notify_all();
    return taken;
}

bool ChangeInbox::HasEnded() const {
    const std::lock_guard lock(guard);
    return hasEnded && waiting.empty();
}

bool ChangeInbox::Drain(std::chrono::microseconds timeout) {
    std::unique_lock lock(guard);
    const std::uint64_t last = lastPut;
    return left.wait_for(lock, timeout, [&] {
        const bool isTaken = waiting.empty() || waiting.front().sequence > last;
        return isTaken && (!isInHand || lastTaken > last);
    });
}

ChangeInbox::Counts ChangeInbox::GetCounts() const {
    const std::lock_guard lock(guard);
    return counts;
}

int ChangeInbox::GetDescriptor() {
    const std::lock_guard lock(guard);
    if (descriptor < 0) {
        descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (descriptor < 0) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
        if (!waiting.empty() || hasEnded) {
            Signal();
        }
    }
    return descriptor;
}

// Neither can fail: the descriptor is open, and its counter far from its maximum.
void ChangeInbox::Signal() {
    if (descriptor >= 0) {
        static_cast<void>(::eventfd_write(descriptor, 1));
    }
}

void ChangeInbox::Unsignal() {
    eventfd_t count = 0;
    if (descriptor >= 0) {
        static_cast<void>(::eventfd_read(descriptor, &count));
    }
}

}  // namespace velmora::python
