// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "stream_handle.h"

#include "errors.h"
#include "tessaryn/stream.h"

#include <stdexcept>
#include <utility>

namespace velmora::python {

namespace {

thread_local unsigned int pinnedStreams = 0;

}  // namespace

StreamLink::StreamLink(Stream& stream, std::string path, std::shared_ptr<const TypeRecord> type)
    : stream(&stream), path(std::move(path)), type(std::move(type)) {}

StreamLink::Stream& StreamLink::Enter() {
    if ((uses.fetch_add(1, std::memory_order_acquire) & refused) != 0) {
        Leave();
        CheckNotAbandoned();
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
    CheckNotAbandoned();
    std::uint32_t present = uses.fetch_or(removed, std::memory_order_acquire) | removed;
    while (present != removed) {
        uses.wait(present, std::memory_order_acquire);
        present = uses.load(std::memory_order_acquire);
    }
}

void StreamLink::Abandon() {
    uses.fetch_or(abandoned, std::memory_order_relaxed);
}

void StreamLink::CheckNotAbandoned() const {
    if ((uses.load(std::memory_order_relaxed) & abandoned) != 0) {
        throw std::runtime_error("The stream '" + path +
                                 "' had subscriptions when the process was forked, so that this "
                                 "process cannot use it.");
    }
}

StreamHandle::StreamHandle(std::shared_ptr<StreamStore> store, std::shared_ptr<StreamLink> link)
    : store(std::move(store)), link(std::move(link)) {}

const EntryTable& StreamHandle::GetEntries(const Stream& pinned) const {
    if (entries == nullptr) {
        auto made = std::make_shared<const EntryTable>(*pinned.GetStreamType());
        // Constructing it may have run other code.
        if (entries == nullptr) {
            entries = std::move(made);
        }
    }
    return *entries;
}

PinnedStream::PinnedStream(const StreamHandle& handle)
    : handle(handle), stream(handle.GetLink()->Enter()) {
    ++pinnedStreams;
}

PinnedStream::~PinnedStream() {
    --pinnedStreams;
    handle.GetLink()->Leave();
}

void PinnedStream::CheckRemoval() {
    if (pinnedStreams != 0) {
        throw PackageError("TessarynError",
                           "Streams cannot be removed while a value is converted for one.");
    }
}

}  // namespace velmora::python
