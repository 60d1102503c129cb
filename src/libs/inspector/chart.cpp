// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/chart.h"

#include "inspector/json_text.h"
#include "inspector/request_error.h"
#include "inspector/sample_query.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace velmora::inspector {

using core::tessaryn::Sample;

namespace {

constexpr std::size_t defaultPoints = 1000;
constexpr std::size_t defaultEntries = 8;
constexpr std::size_t maxMatches = 1000;

// The line of one entry. Each list has one number for each interval that has samples.
struct Line {
    std::vector<std::int64_t> times;
    std::vector<double> min;
    std::vector<double> max;
    std::uint64_t interval = 0;  ///< the last one's number

    void Add(std::uint64_t number, std::int64_t time, double value) {
        if (times.empty() || number != interval) {
            interval = number;
            times.push_back(time);
            min.push_back(value);
            max.push_back(value);
        } else {
            // `fmin` and `fmax` prefer a number to NaN.
            min.back() = std::fmin(min.back(), value);
            max.back() = std::fmax(max.back(), value);
        }
    }
};

class Chart {
  public:
    Chart(const SampleQuery& query, std::size_t points)
        : query(query), lookup(query.entries), lines(query.entries.size()) {
        width = (static_cast<std::uint64_t>(query.range.to) -
                 static_cast<std::uint64_t>(query.range.from)) /
                    points +
                1;
    }

    void Add(Sample& sample) {
        const std::int64_t time = sample.GetTimeStamp().epochMicroseconds();
        const std::uint64_t number =
            (static_cast<std::uint64_t>(time) - static_cast<std::uint64_t>(query.range.from)) /
            width;
        const std::vector<ShownEntry>& entries = lookup.Find(sample);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            lines[i].Add(number, time, NumberOf(sample, entries[i]));
        }
        const bool holds = query.rule && query.rule->Holds(sample);
        if (holds && wasTrue) {
            matches.back().second = time;
        } else if (holds && matches.size() < maxMatches) {
            matches.emplace_back(time, time);
        } else if (holds) {
            isComplete = false;
            return;
        }
        wasTrue = holds;
    }
    void SetIncomplete() { isComplete = false; }

    void Write(JsonText& json) const {
        json.BeginObject().Key("since").Integer(query.range.from);
        json.Key("until").Integer(query.range.to).Key("complete").Bool(isComplete);
        json.Key("entries").BeginObject();
        for (std::size_t i = 0; i < lines.size(); ++i) {
            WriteLine(json.Key(query.entries[i].name), lines[i]);
        }
        json.EndObject().Key("matches").BeginArray();
        for (const auto& [begin, end] : matches) {
            json.BeginArray().Integer(begin).Integer(end).EndArray();
        }
        json.EndArray().EndObject();
    }

  private:
    static void WriteLine(JsonText& json, const Line& line) {
        json.BeginObject().Key("times").BeginArray();
        for (const std::int64_t time : line.times) {
            json.Integer(time);
        }
        json.EndArray().Key("min").BeginArray();
        for (const double value : line.min) {
            json.Number(value);
        }
        json.EndArray().Key("max").BeginArray();
        for (const double value : line.max) {
            json.Number(value);
        }
        json.EndArray().EndObject();
    }

    const SampleQuery& query;
    EntryLookup lookup;
    std::vector<Line> lines;
    std::uint64_t width = 1;
    std::vector<std::pair<std::int64_t, std::int64_t>> matches;
    bool wasTrue = false;
    bool isComplete = true;
};

// Fills in what the request leaves open: the range of the ring, and the first entries that can be
// drawn.
void Complete(const Model& model, const Request& request, SampleQuery& query) {
    std::erase_if(query.entries,
                  [](const ShownEntry& entry) { return entry.type == core::tessaryn::String; });
    if (!request.Has("entries") && query.entries.size() > defaultEntries) {
        query.entries.resize(defaultEntries);
    }
    const auto times = RingBatches(model, query.path, query.range, false).GetTimes();
    const TimeRange all = times.value_or(TimeRange{0, 0});
    if (!request.Has("since")) {
        query.range.from = std::min(all.from, query.range.to);
    }
    if (!request.Has("until")) {
        query.range.to = std::max(all.to, query.range.from);
    }
}

// The history up to the beginning of the ring, then the ring.
std::unique_ptr<SampleBatches> OpenAll(const Model& model, const SampleQuery& query) {
    auto ring = std::make_unique<RingBatches>(model, query.path, query.range, false);
    const std::optional<TimeRange> times = ring->GetTimes();
    if (model.options.history.empty() || (times && times->from <= query.range.from)) {
        return ring;
    }
    TimeRange older = query.range;
    if (times) {
        older.to = std::min(older.to, times->from - 1);
    }
    return std::make_unique<ChainedBatches>(
        std::make_unique<HistoryBatches>(model, query.path, older, false), std::move(ring));
}

}  // namespace

Answer DrawChart(const Model& model, const Request& request) {
    const InspectorLimits& limits = model.options.limits;
    SampleQuery query(model, request);
    Complete(model, request, query);
    if (query.range.from > query.range.to) {
        throw RequestError(400, "The range ends before it begins.");
    }
    const std::size_t points = request.GetCount("points", defaultPoints, limits.maxPoints);
    Chart chart(query, std::max<std::size_t>(points, 1));
    const WorkTime work(limits);
    const std::unique_ptr<SampleBatches> batches = OpenAll(model, query);
    std::vector<Sample> batch;
    for (bool hasMore = true; hasMore;) {
        hasMore = batches->Next(batch);
        for (Sample& sample : batch) {
            chart.Add(sample);
        }
        if (hasMore && work.IsOver()) {
            chart.SetIncomplete();
            break;
        }
    }
    JsonText json;
    chart.Write(json);
    Answer answer;
    answer.body = json.Take();
    return answer;
}

}  // namespace velmora::inspector
