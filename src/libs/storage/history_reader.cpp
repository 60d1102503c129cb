// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_reader.h"

#include "delivery/stream_pattern.h"
#include "storage/history.h"
#include "storage/history_cursor.h"
#include "tessaryn/subscription_args.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <tuple>
#include <utility>

namespace velmora::storage {

using core::tessaryn::Sample;

namespace {

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

// The cursor with the newest row; null when none has a row.
HistoryCursor* Newest(std::deque<HistoryCursor>& cursors) {
    HistoryCursor* newest = nullptr;
    for (HistoryCursor& cursor : cursors) {
        if (cursor.HasRow() && (newest == nullptr || cursor.GetTime() >= newest->GetTime())) {
            newest = &cursor;
        }
    }
    return newest;
}

}  // namespace

struct HistoryReader::Source {
    Source(const Database& database, const HistoryStream& stream,
           const std::shared_ptr<const StoredLayout>& layout, const HistoryCursor::Range& range,
           std::size_t rank)
        : stream(stream.id),
          path(stream.path),
          rank(rank),
          cursor(database, layout, range),
          beginTime(range.isBackwards ? range.to : range.from),
          beginSequence(range.isBackwards ? highest : lowest) {}

    const std::int64_t stream;
    const std::string path;
    const std::size_t rank;  ///< of the layout among those of the stream
    HistoryCursor cursor;
    // The position before the query's first row.
    std::int64_t beginTime;
    std::int64_t beginSequence;
};

HistoryReader::HistoryReader(const History& history, HistoryQuery query)
    : connection(history.connection.get()), query(std::move(query)) {
    const delivery::StreamPattern pattern(this->query.streams, this->query.separator);
    Transaction transaction(connection->database, Transaction::Kind::read);
    connection->catalogue.Refresh();
    for (const auto& [id, stored] : connection->catalogue.GetStreams()) {
        if (stored.stream.path == this->query.streams || pattern.Matches(stored.stream.path)) {
            AddStream(stored);
        }
    }
    transaction.Commit();
}

HistoryReader::HistoryReader(HistoryReader&& other) noexcept = default;
HistoryReader& HistoryReader::operator=(HistoryReader&& other) noexcept = default;
HistoryReader::~HistoryReader() = default;

void HistoryReader::AddStream(const StoredStream& stream) {
    const std::size_t first = sources.size();
    const HistoryCursor::Range range{query.from ? query.from->epochMicroseconds() : lowest,
                                     query.to ? query.to->epochMicroseconds() : highest,
                                     query.isBackwards};
    for (std::size_t rank = 0; rank < stream.layouts.size(); ++rank) {
        const auto& layout = stream.layouts[rank];
        if (!query.rule || query.rule->CanApplyTo(*layout->GetType())) {
            sources.push_back(
                std::make_unique<Source>(connection->database, stream.stream, layout, range, rank));
        }
    }
    if (query.newest > 0 && !query.isBackwards) {
        FindNewest(stream, first);
    }
}

// Searches backwards for the first of the newest rows, from which reading then goes forwards.
void HistoryReader::FindNewest(const StoredStream& stream, std::size_t firstSource) {
    std::deque<HistoryCursor> cursors;
    std::map<const HistoryCursor*, std::size_t> ranks;
    for (std::size_t i = firstSource; i < sources.size(); ++i) {
        const Source& source = *sources[i];
        cursors.emplace_back(
            connection->database, stream.layouts[source.rank],
            HistoryCursor::Range{source.beginTime,
                                 query.to ? query.to->epochMicroseconds() : highest, true});
        cursors.back().Start();
        ranks[&cursors.back()] = source.rank;
    }
    std::int64_t time = 0;
    std::int64_t sequence = 0;
    std::size_t rank = 0;
    std::uint64_t found = 0;
    while (found < query.newest) {
        HistoryCursor* const newest = Newest(cursors);
        if (newest == nullptr) {
            return;
        }
        if (Matches(newest->Read())) {
            ++found;
            time = newest->GetTime();
            sequence = newest->GetSequence();
            rank = ranks[newest];
        }
        newest->Advance();
    }
    for (std::size_t i = firstSource; i < sources.size(); ++i) {
        Source& source = *sources[i];
        source.beginTime = time;
        source.beginSequence = source.rank < rank ? highest : lowest;
        if (source.rank == rank && sequence != lowest) {
            source.beginSequence = sequence - 1;
        }
        source.cursor.Pass(source.beginTime, source.beginSequence);
    }
}

bool HistoryReader::Matches(Sample& candidate) const {
    core::tessaryn::SubscriptionArgs args{core::tessaryn::pushed, &candidate, nullptr};
    return !query.rule || query.rule->Applies(args);
}

bool HistoryReader::Next() {
    if (!isStarted) {
        Start();
    } else if (current != nullptr) {
        current->cursor.Advance();
        Add(*std::exchange(current, nullptr));
    }
    while (!heap.empty()) {
        std::pop_heap(heap.begin(), heap.end(), ComesLater);
        Source& source = *heap.back();
        heap.pop_back();
        if (query.isBackwards && query.newest > 0 && counts[source.stream] == query.newest) {
            source.cursor.Suspend();
            continue;
        }
        Sample& candidate = source.cursor.Read();
        if (Matches(candidate)) {
            if (query.newest > 0) {
                ++counts[source.stream];
            }
            current = &source;
            sample = &candidate;
            path = &source.path;
            return true;
        }
        source.cursor.Advance();
        Add(source);
    }
    return false;
}

void HistoryReader::Start() {
    heap.clear();
    Transaction transaction(connection->database, Transaction::Kind::read);
    for (const auto& source : sources) {
        source->cursor.Start();
        Add(*source);
    }
    transaction.Commit();
    isStarted = true;
}

void HistoryReader::Add(Source& source) {
    if (source.cursor.HasRow()) {
        heap.push_back(&source);
        std::push_heap(heap.begin(), heap.end(), ComesLater);
    }
}

// The order of the heap, whose front is the source with the next row. Rows of equal times are in
// the order of streams, then of layouts.
bool HistoryReader::ComesLater(const Source* a, const Source* b) {
    const auto place = [](const Source* source) {
        return std::tuple(source->cursor.GetTime(), source->stream, source->rank);
    };
    return a->cursor.IsBackwards() ? place(a) < place(b) : place(b) < place(a);
}

void HistoryReader::Seek(const Poco::Timestamp& time) {
    const std::int64_t wanted = time.epochMicroseconds();
    for (const auto& source : sources) {
        const bool isInside =
            query.isBackwards ? wanted < source->beginTime : wanted > source->beginTime;
        source->cursor.Suspend();
        if (isInside) {
            source->cursor.Pass(wanted, query.isBackwards ? highest : lowest);
        } else {
            source->cursor.Pass(source->beginTime, source->beginSequence);
        }
    }
    counts.clear();
    current = nullptr;
    isStarted = false;
}

void HistoryReader::Suspend() {
    if (current != nullptr) {
        current->cursor.Pass(current->cursor.GetTime(), current->cursor.GetSequence());
        current = nullptr;
    }
    for (const auto& source : sources) {
        source->cursor.Suspend();
    }
    isStarted = false;
}

}  // namespace velmora::storage
