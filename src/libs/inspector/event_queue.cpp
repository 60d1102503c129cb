// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/event_queue.h"

#include <utility>

namespace velmora::inspector {

namespace {

using Lock = std::lock_guard<std::mutex>;

void AppendEvent(std::string& out, std::string_view name, std::string_view data) {
    out.append("event: ").append(name).append("\ndata: ").append(data).append("\n\n");
}

}  // namespace

EventQueue::~EventQueue() = default;

void EventQueue::Push(std::string_view name, std::string_view data, bool isNeeded) {
    const Lock lock(mutex);
    lastSize = data.size();
    if (waiting.size() + data.size() > maxBytes && !isNeeded) {
        ++lost;
        return;
    }
    AppendLost();
    AppendEvent(waiting, name, data);
}

bool EventQueue::IsFull() {
    const Lock lock(mutex);
    return waiting.size() + lastSize > maxBytes;
}

void EventQueue::AddLost(std::uint64_t count) {
    const Lock lock(mutex);
    lost += count;
}

std::string EventQueue::Take() {
    const Lock lock(mutex);
    AppendLost();
    return std::exchange(waiting, std::string());
}

void EventQueue::AppendLost() {
    if (lost > 0) {
        AppendEvent(waiting, "lost", "{\"count\":" + std::to_string(lost) + "}");
        lost = 0;
    }
}

}  // namespace velmora::inspector
