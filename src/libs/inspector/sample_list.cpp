// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/sample_list.h"

#include "inspector/json_text.h"
#include "inspector/request_error.h"
#include "inspector/sample_query.h"
#include "inspector/sample_text.h"

#include <Poco/NumberParser.h>

#include <algorithm>
#include <utility>

namespace velmora::inspector {

using core::tessaryn::Sample;

namespace {

// Bytes of one answer's samples in binary form.
constexpr std::size_t maxAnswerBytes = 4'000'000;

// Where an answer ended: the next one begins at this time, after skipping this number of its
// samples.
struct Cursor {
    std::int64_t time = 0;
    std::uint64_t passed = 0;
};

std::string ToText(const Cursor& cursor) {
    return std::to_string(cursor.time) + "." + std::to_string(cursor.passed);
}

Cursor ParseCursor(std::string_view text) {
    const std::size_t dot = std::min(text.find('.'), text.size());
    Poco::Int64 time = 0;
    Poco::UInt64 passed = 0;
    if (!Poco::NumberParser::tryParse64(std::string(text.substr(0, dot)), time, '\0') ||
        dot == text.size() ||
        !Poco::NumberParser::tryParseUnsigned64(std::string(text.substr(dot + 1)), passed, '\0')) {
        throw RequestError(400, "The parameter 'after' is not what an answer gave.");
    }
    return {time, passed};
}

// The position in a forward pass over samples.
class Progress {
  public:
    explicit Progress(const std::optional<Cursor>& begin) : cursor(begin.value_or(Cursor())) {
        skip = begin ? begin->passed : 0;
        begins = begin.has_value();
    }
    // Whether an earlier answer has the sample.
    bool Skips(const Sample& sample) {
        const std::int64_t time = sample.GetTimeStamp().epochMicroseconds();
        if (begins && time == cursor.time && skip > 0) {
            --skip;
            return true;
        }
        cursor = {time, begins && time == cursor.time ? cursor.passed + 1 : 1};
        begins = true;
        return false;
    }
    const Cursor& GetCursor() const { return cursor; }

  private:
    Cursor cursor;
    std::uint64_t skip = 0;
    bool begins = false;
};

struct Found {
    /// Keeps the samples' types.
    std::unique_ptr<SampleBatches> batches;
    std::vector<Sample> samples;
    std::optional<Cursor> next;
    std::size_t bytes = 0;

    // \return whether there is room for more
    bool Add(Sample& sample, std::size_t limit) {
        bytes += sample.GetSerializedSizeInBytes();
        samples.push_back(std::move(sample));
        return samples.size() < limit && bytes < maxAnswerBytes;
    }
};

bool Selects(const SampleQuery& query, Sample& sample) {
    return !query.rule || query.rule->Holds(sample);
}

Found FindForwards(const Model& model, SampleQuery& query, std::optional<Cursor> begin,
                   std::size_t limit) {
    if (begin) {
        query.range.from = begin->time;
    }
    const WorkTime work(model.options.limits);
    Found found;
    found.batches = query.Open(model, false);
    Progress progress(begin);
    std::vector<Sample> batch;
    for (bool hasMore = true; hasMore;) {
        hasMore = found.batches->Next(batch);
        for (Sample& sample : batch) {
            if (!progress.Skips(sample) && Selects(query, sample) && !found.Add(sample, limit)) {
                found.next = progress.GetCursor();
                return found;
            }
        }
        if (hasMore && work.IsOver()) {
            found.next = progress.GetCursor();
            return found;
        }
    }
    return found;
}

Found FindBackwards(const Model& model, const SampleQuery& query, std::size_t limit) {
    const WorkTime work(model.options.limits);
    Found found;
    found.batches = query.Open(model, true);
    std::vector<Sample> batch;
    bool hasRoom = limit > 0;
    for (bool hasMore = true; hasMore && hasRoom && !work.IsOver();) {
        hasMore = found.batches->Next(batch);
        for (auto sample = batch.rbegin(); sample != batch.rend() && hasRoom; ++sample) {
            hasRoom = !Selects(query, *sample) || found.Add(*sample, limit);
        }
    }
    std::reverse(found.samples.begin(), found.samples.end());
    return found;
}

// A part of a download, with some samples.
class CsvSource : public BodySource {
  public:
    CsvSource(const Model& model, SampleQuery given)
        : query(std::move(given)),
          batches(query.Open(model, false)),
          lookup(query.entries),
          limits(model.options.limits) {}

    bool Append(std::string& part) override {
        const WorkTime work(limits);
        bool hasMore = true;
        while (hasMore && part.size() < partSize && !work.IsOver()) {
            hasMore = batches->Next(batch);
            for (Sample& sample : batch) {
                if (Selects(query, sample)) {
                    AppendCsvLine(part, sample, lookup.Find(sample));
                }
            }
        }
        return hasMore;
    }

  private:
    static constexpr std::size_t partSize = 65'536;

    SampleQuery query;
    std::unique_ptr<SampleBatches> batches;
    EntryLookup lookup;
    const InspectorLimits& limits;
    std::vector<Sample> batch;
};

}  // namespace

Answer ListSamples(const Model& model, const Request& request) {
    const InspectorLimits& limits = model.options.limits;
    SampleQuery query(model, request);
    const std::size_t limit = request.GetCount("limit", limits.maxSamples, limits.maxSamples);
    std::optional<Cursor> begin;
    if (const std::string_view after = request.Get("after"); !after.empty()) {
        begin = ParseCursor(after);
    }
    const bool isLast = request.Get("last") == "1";
    const Found found =
        isLast ? FindBackwards(model, query, limit) : FindForwards(model, query, begin, limit);
    JsonText json;
    json.BeginObject().Key("times").BeginArray();
    for (const Sample& sample : found.samples) {
        json.Integer(sample.GetTimeStamp().epochMicroseconds());
    }
    json.EndArray().Key("entries").BeginObject();
    EntryLookup lookup(query.entries);
    for (std::size_t i = 0; i < query.entries.size(); ++i) {
        json.Key(query.entries[i].name).BeginArray();
        for (const Sample& sample : found.samples) {
            AppendValue(json, sample, lookup.Find(sample)[i], limits);
        }
        json.EndArray();
    }
    json.EndObject().Key("next");
    found.next ? json.Text(ToText(*found.next)) : json.Null();
    json.EndObject();
    Answer answer;
    answer.body = json.Take();
    return answer;
}

Answer DownloadSamples(const Model& model, const Request& request) {
    SampleQuery query(model, request);
    Answer answer;
    answer.type = "text/csv; charset=utf-8";
    answer.headers.emplace_back("Content-Disposition", "attachment; filename=\"samples.csv\"");
    AppendCsvHeader(answer.body, query.entries);
    answer.rest = std::make_shared<CsvSource>(model, std::move(query));
    return answer;
}

}  // namespace velmora::inspector
