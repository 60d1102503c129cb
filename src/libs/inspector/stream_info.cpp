// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/stream_info.h"

#include "inspector/json_text.h"
#include "inspector/request_error.h"
#include "inspector/sample_json.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_collection.h"
#include "tessaryn/stream_type_collection_group.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Timespan.h>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

namespace velmora::inspector {

using core::tessaryn::Sample;
using core::tessaryn::Stream;
using core::tessaryn::StreamType;
using core::tessaryn::StreamTypeCollection;
using core::tessaryn::StreamTypeCollectionGroup;

namespace {

constexpr double microseconds = 1e6;
// Seconds over which the rate of samples is measured.
constexpr std::int64_t rateSpan = 10;

// A copy of what a list shows of a stream.
struct StreamLine {
    std::string type;
    int samples = 0;
    int capacity = 0;
    std::optional<std::int64_t> newest;
};

StreamLine ReadLine(const Stream& stream) {
    StreamLine line;
    line.type =
        stream.GetStreamType() == nullptr ? std::string() : stream.GetStreamType()->GetFullName();
    line.samples = stream.GetNumSamples();
    line.capacity = stream.GetMaxSize();
    stream.TryGetLatest(
        [&](const Sample& sample) { line.newest = sample.GetTimeStamp().epochMicroseconds(); });
    return line;
}

void AppendTime(JsonText& json, std::optional<std::int64_t> time) {
    if (time) {
        json.Integer(*time);
    } else {
        json.Null();
    }
}

void AppendLine(JsonText& json, const StreamLine& line) {
    json.Key("type").Text(line.type).Key("samples").Integer(line.samples);
    AppendTime(json.Key("capacity").Integer(line.capacity).Key("time"), line.newest);
}

Answer ToAnswer(const JsonText& json) {
    Answer answer;
    answer.body = json.Take();
    return answer;
}

std::size_t Limit(const Model& model, const Request& request) {
    return request.GetCount("limit", model.options.limits.maxItems, model.options.limits.maxItems);
}

std::size_t Offset(const Request& request) {
    return request.GetCount("offset", 0, std::string::npos);
}

// A copy of what the page of one stream shows.
struct StreamState {
    const StreamType* type = nullptr;
    int capacity = 0;
    int samples = 0;
    std::size_t subscribers = 0;
    std::uint64_t pushes = 0;
    std::optional<double> rate;
    std::optional<Sample> newest;
};

// Samples a second in the time before now, by their own timestamps.
std::optional<double> Rate(const Stream& stream, int samples) {
    std::optional<double> rate;
    stream.GetLast(Poco::Timespan(rateSpan, 0), [&](const std::vector<Sample*>& recent) {
        const auto count = static_cast<double>(recent.size());
        if (recent.empty()) {
            rate = 0;
        } else if (static_cast<int>(recent.size()) < samples) {
            rate = count / static_cast<double>(rateSpan);
        } else {
            // When the ring does not reach back that far, its own span of time is used.
            const auto [oldest, newest] = std::minmax_element(
                recent.begin(), recent.end(), [](const Sample* left, const Sample* right) {
                    return left->GetTimeStamp() < right->GetTimeStamp();
                });
            const auto span =
                static_cast<double>((*newest)->GetTimeStamp() - (*oldest)->GetTimeStamp());
            rate = span > 0 ? (count - 1) * microseconds / span : 0;
        }
    });
    return rate;
}

StreamState ReadState(const Stream& stream) {
    StreamState state;
    state.type = stream.GetStreamType();
    state.capacity = stream.GetMaxSize();
    state.samples = stream.GetNumSamples();
    state.subscribers = stream.CountSubscriptions();
    state.pushes = stream.CountPushes();
    state.rate = Rate(stream, state.samples);
    stream.TryGetLatest([&](const Sample& sample) { state.newest = sample; });
    return state;
}

void AppendNewest(JsonText& json, const std::optional<Sample>& newest, const Model& model) {
    if (!newest || newest->GetStreamType() == nullptr) {
        json.Null();
        return;
    }
    const std::int64_t time = newest->GetTimeStamp().epochMicroseconds();
    json.BeginObject().Key("time").Integer(time);
    json.Key("age").Number(static_cast<double>(Now() - time) / microseconds);
    AppendValues(json, *newest,
                 SelectEntries(*newest->GetStreamType(), std::nullopt, model.options.limits),
                 model.options.limits);
    json.EndObject();
}

void AppendEntries(JsonText& json, const std::string& path, const StreamType& type,
                   const InspectorOptions& options) {
    json.BeginArray();
    for (const ShownEntry& entry : SelectEntries(type, std::nullopt, options.limits)) {
        json.BeginObject().Key("name").Text(entry.name);
        json.Key("type").Text(core::tessaryn::ToString(entry.type));
        json.Key("size").Unsigned(entry.initialSize);
        const std::string unit = options.unit ? options.unit(path, entry.name) : std::string();
        if (!unit.empty()) {
            json.Key("unit").Text(unit);
        }
        json.EndObject();
    }
    json.EndArray();
}

// All types of a group and of its sub-groups.
void CollectTypes(const StreamTypeCollectionGroup& root, std::vector<const StreamType*>& types) {
    std::vector<const StreamTypeCollectionGroup*> open = {&root};
    while (!open.empty()) {
        const StreamTypeCollectionGroup* const group = open.back();
        open.pop_back();
        for (const StreamTypeCollection* collection : group->GetAllItemPtrs()) {
            const std::vector<StreamType*> versions = collection->GetAll();
            types.insert(types.end(), versions.begin(), versions.end());
        }
        const auto groups = group->GetAllGroupPtrs();
        open.insert(open.end(), groups.rbegin(), groups.rend());
    }
}

}  // namespace

std::size_t CountTypes(const Model& model) {
    std::vector<const StreamType*> types;
    model.types.AtomicExecute([&] { CollectTypes(model.types.GetRoot(), types); });
    return types.size();
}

Answer ListChildren(const Model& model, const Request& request) {
    const std::string path(request.Get("path"));
    const PathList::Page page =
        model.index.Get()->GetChildren(path, Offset(request), Limit(model, request));
    JsonText json;
    json.BeginObject().Key("path").Text(path).Key("total").Unsigned(page.total);
    json.Key("children").BeginArray();
    for (const PathList::Child& child : page.children) {
        json.BeginObject().Key("name").Text(child.name).Key("path").Text(child.path);
        json.Key("kind").Text(child.streams > 0 ? "group" : "stream");
        StreamLine line;
        if (child.streams > 0) {
            json.Key("streams").Unsigned(child.streams);
        } else {
            model.TryVisit(child.path, [&](Stream& stream) { line = ReadLine(stream); });
            AppendLine(json, line);
        }
        json.EndObject();
    }
    json.EndArray().EndObject();
    return ToAnswer(json);
}

Answer FindStreams(const Model& model, const Request& request) {
    const PathList::Matches matches = model.index.Get()->Find(
        std::string(request.Get("q")), Offset(request), Limit(model, request));
    JsonText json;
    json.BeginObject().Key("total").Unsigned(matches.total).Key("streams").BeginArray();
    for (const std::string& path : matches.paths) {
        StreamLine line;
        model.TryVisit(path, [&](Stream& stream) { line = ReadLine(stream); });
        json.BeginObject().Key("path").Text(path);
        AppendLine(json, line);
        json.EndObject();
    }
    json.EndArray().EndObject();
    return ToAnswer(json);
}

Answer ListTypes(const Model& model, const Request& request) {
    const std::size_t offset = Offset(request);
    const std::size_t limit = Limit(model, request);
    JsonText json;
    model.types.AtomicExecute([&] {
        std::vector<const StreamType*> types;
        CollectTypes(model.types.GetRoot(), types);
        json.BeginObject().Key("total").Unsigned(types.size()).Key("types").BeginArray();
        const std::size_t begin = std::min(offset, types.size());
        const std::size_t end = std::min(begin + limit, types.size());
        for (std::size_t i = begin; i < end; ++i) {
            json.BeginObject().Key("name").Text(types[i]->GetFullName());
            json.Key("version").Text(types[i]->GetVersion().ToString());
            json.Key("entries").Unsigned(types[i]->GetNumEntries()).EndObject();
        }
    });
    json.EndArray().EndObject();
    return ToAnswer(json);
}

Answer DescribeStream(const Model& model, const Request& request) {
    const std::string& path = request.Require("path");
    StreamState state;
    model.Visit(path, [&](Stream& stream) { state = ReadState(stream); });
    JsonText json;
    json.BeginObject().Key("path").Text(path);
    json.Key("type").Text(state.type == nullptr ? "" : state.type->GetFullName());
    json.Key("version").Text(state.type == nullptr ? "" : state.type->GetVersion().ToString());
    json.Key("capacity").Integer(state.capacity).Key("samples").Integer(state.samples);
    json.Key("subscribers").Unsigned(state.subscribers).Key("rate").Number(*state.rate);
    json.Key("pushed").Unsigned(state.pushes);
    json.Key("history").Bool(!model.options.history.empty());
    json.Key("entries");
    if (state.type == nullptr) {
        json.BeginArray().EndArray();
    } else {
        AppendEntries(json, path, *state.type, model.options);
        json.Key("entriesTotal").Unsigned(state.type->GetNumEntries());
    }
    AppendNewest(json.Key("newest"), state.newest, model);
    json.EndObject();
    return ToAnswer(json);
}

Answer ListNewest(const Model& model, const Request& request) {
    const std::vector<std::string> paths = request.GetAll("path");
    if (paths.size() > model.options.limits.maxItems) {
        throw RequestError(400, "There are too many paths.");
    }
    JsonText json;
    json.BeginObject();
    for (const std::string& path : paths) {
        std::optional<Sample> newest;
        model.TryVisit(path, [&](Stream& stream) {
            stream.TryGetLatest([&](const Sample& sample) { newest = sample; });
        });
        AppendNewest(json.Key(path), newest, model);
    }
    json.EndObject();
    return ToAnswer(json);
}

}  // namespace velmora::inspector
