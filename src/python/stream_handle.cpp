// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "stream_handle.h"

#include "errors.h"

#include <utility>

namespace velmora::python {

StreamLink::StreamLink(Stream& stream, std::string path, std::shared_ptr<const TypeRecord> type)
    : stream(&stream), path(std::move(path)), type(std::move(type)) {}

StreamLink::Stream& StreamLink::Enter() {
    if ((uses.fetch_add(1, std::memory_order_acquire) & removed) != 0) {
        Leave();
        throw DeadReference("The stream '" + path + "' is no longer in its repository.");
    }
    return *stream;
}

void StreamLink::Leave() {
    if (uses.fetch_sub(1, std::memory_order_release) == removed + 1) {
        uses.notify_all();
    }
}

void StreamLink::Remove() {
    std::uint32_t present = uses.fetch_or(removed, std::memory_order_acquire) | removed;
    while (present != removed) {
        uses.wait(present, std::memory_order_acquire);
        present = uses.load(std::memory_order_acquire);
    }
}

StreamHandle::StreamHandle(std::shared_ptr<StreamStore> store, std::shared_ptr<StreamLink> link)
    : store(std::move(store)), link(std::move(link)) {}

}  // namespace velmora::python
