// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velmora::inspector {

/// Limits for clients. A request that exceeds one is refused or answered in pages.
///
/// \threadsafety external
struct InspectorLimits {
    std::size_t maxClients = 256;        ///< connections; a new one takes the place of an idle one
    std::size_t maxWatchers = 64;        ///< event streams
    std::size_t maxWatched = 32;         ///< streams of one event stream
    std::size_t maxWatchedInAll = 1000;  ///< streams of all event streams, each counted once
    std::size_t maxLineBytes = 8192;     ///< of the first line of a request
    std::size_t maxHeaderBytes = 16384;
    std::size_t maxHeaders = 64;
    std::size_t maxBodyBytes = 4096;
    std::size_t maxItems = 200;       ///< entries of one answer that lists streams or types
    std::size_t maxSamples = 1000;    ///< samples of one answer
    std::size_t maxPoints = 4000;     ///< intervals of one chart
    std::size_t maxEntries = 100;     ///< entries of a sample in one answer
    std::size_t maxElements = 16;     ///< elements of an entry in one answer
    std::size_t maxTextBytes = 1024;  ///< of one text in an answer; the rest is cut
    std::size_t maxRuleBytes = 2000;
    std::size_t maxRuleDepth = 50;
    /// Terms of a rule times elements of a sample: what a rule may compare for one sample.
    std::size_t maxRuleWork = 1'000'000;
    std::size_t maxQueuedBytes = 262'144;         ///< events that wait for a slow client
    std::size_t maxMetricStreams = 1000;          ///< streams that have metrics of their own
    std::chrono::milliseconds requestTime{5000};  ///< until a request is complete
    std::chrono::milliseconds idleTime{15000};    ///< until the next request of a connection
    /// Until a client has accepted an answer, or the next 64 KiB of it.
    std::chrono::milliseconds sendTime{10000};
    /// Time for the work on one answer, which then has what was found so far.
    std::chrono::milliseconds workTime{2000};
    /// Between two keep-alive comments on an event stream.
    std::chrono::milliseconds heartbeat{10000};
};

/// An entry whose newest value is a metric.
///
/// \threadsafety external
struct EntryGauge {
    std::string path;   ///< of the stream
    std::string entry;  ///< whose first element is the metric's value
};

/// How an `Inspector` serves.
///
/// \threadsafety external
struct InspectorOptions {
    /// Where to listen: an IP address. One that is not of the loopback needs a token.
    std::string address = "127.0.0.1";
    /// 0 for any that is free: see `Inspector::GetPort`.
    std::uint16_t port = 8080;
    /// What clients must send: at least 16 characters, printable ASCII without blanks. Empty:
    /// clients need no token.
    std::string token = {};
    /// Host names, without ports, that requests may be sent to beside "localhost" and the addresses
    /// of this machine, such as that of a reverse proxy.
    std::vector<std::string> hosts = {};
    /// The page's title; the machine's name unless given.
    std::string title = {};
    /// A file that a `storage::HistoryWriter` writes; empty for none. It need not exist yet.
    std::string history = {};
    /// The unit of an entry; empty for none. Called by the inspector's threads, several at a time.
    std::function<std::string(const std::string& path, const std::string& entry)> unit = {};
    /// Entries whose newest values are metrics.
    std::vector<EntryGauge> gauges = {};
    /// Threads that make answers.
    std::size_t workers = 2;
    InspectorLimits limits = {};
};

}  // namespace velmora::inspector
