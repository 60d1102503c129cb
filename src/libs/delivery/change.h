// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "tessaryn/sample.h"
#include "tessaryn/subscription_args.h"

#include <cstdint>
#include <functional>
#include <string>

namespace velmora::core::tessaryn {
class Stream;
}

namespace velmora::delivery {

/// A change of a stream on its way to a handler, with a copy of the sample.
///
/// \threadsafety external: belongs to the handler while that runs, which may move the sample out
struct Change {
    core::tessaryn::StreamChangeType changeType = core::tessaryn::pushed;
    /// A copy of the sample, made right after the change. Its stream type must outlive it.
    core::tessaryn::Sample sample;
    /// \ownership observes: the stream that changed. It may have been destroyed by the time the
    /// handler runs; a handler that uses it relies on the host to keep it alive.
    const core::tessaryn::Stream* stream = nullptr;
    /// The stream's path, for a delivery made by `SubscribeAll`; else empty.
    std::string path = {};
    /// The value that the pusher gave as `SubscriptionArgs::sender`.
    void* sender = nullptr;
    /// Counts the changes of one delivery from 1, dropped ones included.
    std::uint64_t sequence = 0;
    /// Changes that were dropped between the previously handled one and this one.
    std::uint64_t dropped = 0;
};

/// Called on a worker's thread, without any lock held.
using Handler = std::function<void(Change&)>;

}  // namespace velmora::delivery
