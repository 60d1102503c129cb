// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/sample_batches.h"

#include "inspector/request_error.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"

#include <Poco/Timestamp.h>

#include <algorithm>
#include <utility>

namespace velmora::inspector {

using core::tessaryn::Sample;
using core::tessaryn::Stream;

namespace {

// Samples that are copied while a stream is locked.
constexpr std::size_t targetSize = 250;
constexpr std::size_t maxSize = 1000;

std::int64_t TimeOf(const Sample& sample) {
    return sample.GetTimeStamp().epochMicroseconds();
}

std::uint64_t Distance(std::int64_t from, std::int64_t to) {
    return static_cast<std::uint64_t>(to) - static_cast<std::uint64_t>(from);
}

// A time one step later or earlier, but not beyond the limit.
std::int64_t After(std::int64_t time, std::uint64_t step, std::int64_t limit) {
    return Distance(time, limit) > step
               ? static_cast<std::int64_t>(static_cast<std::uint64_t>(time) + step)
               : limit;
}
std::int64_t Before(std::int64_t time, std::uint64_t step, std::int64_t limit) {
    return Distance(limit, time) > step
               ? static_cast<std::int64_t>(static_cast<std::uint64_t>(time) - step)
               : limit;
}

storage::HistoryQuery MakeQuery(const Model& model, const std::string& path, const TimeRange& range,
                                bool isBackwards) {
    storage::HistoryQuery query;
    query.streams = path;
    query.separator = model.streams.groupSeparator();
    query.from = Poco::Timestamp(range.from);
    query.to = Poco::Timestamp(range.to);
    query.isBackwards = isBackwards;
    return query;
}

const std::string& RequireHistory(const Model& model) {
    if (model.options.history.empty()) {
        throw RequestError(404, "The host has no history.");
    }
    return model.options.history;
}

}  // namespace

SampleBatches::~SampleBatches() = default;

RingBatches::RingBatches(const Model& model, const std::string& path, const TimeRange& range,
                         bool isBackwards)
    : model(model), path(path), rest(range), isBackwards(isBackwards) {
    model.Visit(path, [&](const Stream& stream) {
        stream.GetAllInPushOrder([&](const std::vector<Sample*>& samples) {
            if (samples.empty()) {
                return;
            }
            const auto [from, to] =
                std::minmax({TimeOf(*samples.front()), TimeOf(*samples.back())});
            times = TimeRange{from, to};
            if (samples.size() > maxSize) {
                step = Distance(from, to) / samples.size() * targetSize;
            }
        });
    });
}

bool RingBatches::Next(std::vector<Sample>& samples) {
    TimeRange window = ChooseWindow();
    bool isCopied = false;
    while (!isCopied) {
        const bool exists = model.TryVisit(
            path, [&](const Stream& stream) { isCopied = Copy(stream, window, samples); });
        if (!exists) {
            samples.clear();
            return false;
        }
        if (!isCopied) {
            // Halved without an overflow.
            const auto half = static_cast<std::int64_t>(Distance(window.from, window.to) / 2);
            (isBackwards ? window.from : window.to) = window.from + half + (isBackwards ? 1 : 0);
            step = Distance(window.from, window.to);
        }
    }
    return Pass(window, samples.size());
}

// The next part of the remaining range: what lies before the times of the ring, where only late
// samples are; a part of those times; or what lies after them.
TimeRange RingBatches::ChooseWindow() const {
    TimeRange window = rest;
    if (skipped > 0) {
        (isBackwards ? window.from : window.to) = isBackwards ? rest.to : rest.from;
    } else if (times && isBackwards) {
        if (rest.to > times->to) {
            window.from = std::max(rest.from, times->to + 1);
        } else if (rest.to >= times->from) {
            window.from = std::max(Before(rest.to, step, rest.from), times->from);
        }
    } else if (times) {
        if (rest.from < times->from) {
            window.to = std::min(rest.to, times->from - 1);
        } else if (rest.from <= times->to) {
            window.to = std::min(After(rest.from, step, rest.to), times->to);
        }
    }
    window.from = std::max(window.from, rest.from);
    return window;
}

// Returns false when there are too many samples, and the window has to be smaller.
bool RingBatches::Copy(const Stream& stream, const TimeRange& window,
                       std::vector<Sample>& samples) const {
    bool isCopied = true;
    stream.GetBetween(Poco::Timestamp(window.from), Poco::Timestamp(window.to),
                      [&](const std::vector<Sample*>& found) {
                          if (found.size() > maxSize && window.from != window.to) {
                              isCopied = false;
                              return;
                          }
                          std::vector<Sample*> ordered(found);
                          std::stable_sort(ordered.begin(), ordered.end(),
                                           [](const Sample* a, const Sample* b) {
                                               return a->GetTimeStamp() < b->GetTimeStamp();
                                           });
                          const std::size_t begin = std::min(skipped, ordered.size());
                          const std::size_t end = std::min(begin + maxSize, ordered.size());
                          samples.resize(end - begin);
                          for (std::size_t i = begin; i < end; ++i) {
                              samples[i - begin] = *ordered[i];
                          }
                      });
    return isCopied;
}

// Returns whether something is left.
bool RingBatches::Pass(const TimeRange& window, std::size_t count) {
    if (window.from == window.to && count == maxSize) {
        skipped += count;
        (isBackwards ? rest.to : rest.from) = window.from;
        return true;
    }
    skipped = 0;
    const bool isInside = times && window.from >= times->from && window.to <= times->to;
    if (isInside && count < targetSize / 2 &&
        step < std::numeric_limits<std::uint64_t>::max() / 4) {
        step = std::max<std::uint64_t>(step, 1) * 4;
    }
    if (isBackwards ? window.from == rest.from : window.to == rest.to) {
        return false;
    }
    (isBackwards ? rest.to : rest.from) = isBackwards ? window.from - 1 : window.to + 1;
    return true;
}

HistoryBatches::HistoryBatches(const Model& model, const std::string& path, const TimeRange& range,
                               bool isBackwards)
    : path(path),
      history(RequireHistory(model)),
      reader(history, MakeQuery(model, path, range, isBackwards)),
      isBackwards(isBackwards) {}

bool HistoryBatches::Next(std::vector<Sample>& samples) {
    samples.clear();
    bool hasMore = true;
    while (samples.size() < targetSize && (hasMore = reader.Next())) {
        // The path may also be a pattern, which matches others.
        if (reader.GetPath() == path) {
            samples.push_back(reader.GetSample());
        }
    }
    if (isBackwards) {
        std::reverse(samples.begin(), samples.end());
    }
    return hasMore;
}

bool ChainedBatches::Next(std::vector<Sample>& samples) {
    if (!isSecond) {
        isSecond = !first->Next(samples);
        return true;
    }
    return second->Next(samples);
}

}  // namespace velmora::inspector
