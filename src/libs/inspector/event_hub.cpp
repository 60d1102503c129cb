// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/event_hub.h"

#include "inspector/background.h"
#include "inspector/json_text.h"
#include "inspector/request_error.h"
#include "tessaryn/rules.h"
#include "tessaryn/stream.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <utility>

namespace velmora::inspector {

using core::tessaryn::Stream;
using core::tessaryn::StreamChangeType;
using delivery::Change;

namespace {

using Lock = std::lock_guard<std::mutex>;

// Milliseconds after which a browser reconnects.
constexpr const char* preamble = "retry: 2000\n\n";
// Changes are collected for this time, and up to this number: about 80,000 a second of one stream.
constexpr std::chrono::milliseconds gatherTime(50);
constexpr std::size_t maxGathered = 4096;

const char* NameOf(StreamChangeType type) {
    switch (type) {
        case core::tessaryn::popped:
            return "popped";
        case core::tessaryn::changed:
            return "changed";
        case core::tessaryn::pushed:
            break;
    }
    return "pushed";
}

std::string PathJson(const std::string& path) {
    JsonText json;
    json.BeginObject().Key("path").Text(path).EndObject();
    return json.Take();
}

}  // namespace

Watcher::Watcher(EventHub& hub, const Request& request, const InspectorLimits& limits)
    : EventQueue(limits.maxQueuedBytes), hub(hub), limits(limits) {
    const std::vector<std::string> named = request.GetAll("path");
    const std::set<std::string> once(named.begin(), named.end());
    paths.assign(once.begin(), once.end());
    if (paths.empty() || paths.size() > limits.maxWatched) {
        throw RequestError(
            400, "One to " + std::to_string(limits.maxWatched) + " streams can be watched.");
    }
    if (const std::string text(request.Get("rule")); !text.empty()) {
        rule = ParseClientRule(text, limits);
    }
    if (request.Has("entries")) {
        entries = request.Get("entries");
    }
    if (++hub.watchers > limits.maxWatchers) {
        --hub.watchers;
        throw RequestError(503, "There are too many event streams.");
    }
}

Watcher::~Watcher() {
    hub.Remove(*this);
    --hub.watchers;
}

void Watcher::Notify(Change& change, const std::string& path, std::string& json) {
    AddLost(change.dropped);
    if (IsFull()) {
        // The event would be dropped, so it is not formatted.
        AddLost(1);
        return;
    }
    std::string own;
    std::string& data = entries ? own : json;
    if (data.empty()) {
        data = Format(change, path);
    }
    Push("sample", data);
    if (rule && change.changeType == core::tessaryn::pushed) {
        try {
            if (rule->Holds(change.sample)) {
                Push("match", data);
            }
        } catch (const RequestError&) {
            // The sample is too large for the rule to be evaluated.
        }
    }
}

std::string Watcher::Format(const Change& change, const std::string& path) const {
    JsonText json;
    json.BeginObject().Key("path").Text(path).Key("kind").Text(NameOf(change.changeType));
    json.Key("time").Integer(change.sample.GetTimeStamp().epochMicroseconds());
    std::vector<ShownEntry> shown;
    try {
        shown = SelectEntries(*change.sample.GetStreamType(), entries, limits);
    } catch (const RequestError&) {
        // Not every stream has the entries that the client selected.
    }
    AppendValues(json, change.sample, shown, limits);
    json.EndObject();
    return json.Take();
}

void EventHub::Feed::Notify(Change& change, const std::string& path) {
    std::string json;
    const Lock lock(mutex);
    for (Watcher* const watcher : watchers) {
        watcher->Notify(change, path, json);
    }
}

void EventHub::Feed::End(const std::string& path) {
    const Lock lock(mutex);
    hasEnded = true;
    for (Watcher* const watcher : watchers) {
        watcher->Push("gone", PathJson(path), true);
    }
}

EventHub::EventHub(const Model& model)
    : model(model),
      dispatcher({.name = "inspector", .interval = gatherTime, .onStart = RunInBackground}) {}

EventHub::~EventHub() = default;

Answer EventHub::Watch(const Request& request) {
    const auto watcher = std::make_shared<Watcher>(*this, request, model.options.limits);
    for (const std::string& path : watcher->GetPaths()) {
        Add(*watcher, path);
    }
    Answer answer;
    answer.type = "text/event-stream";
    answer.body = preamble;
    answer.events = watcher;
    return answer;
}

void EventHub::Add(Watcher& watcher, const std::string& path) {
    const Lock lock(mutex);
    const auto place = feeds.find(path);
    std::shared_ptr<Feed> feed;
    if (place != feeds.end() && !place->second->hasEnded) {
        feed = place->second;
    } else {
        if (feeds.size() >= model.options.limits.maxWatchedInAll) {
            throw RequestError(503, "There are too many streams that are watched.");
        }
        feed = OpenFeed(path);
        feeds[path] = feed;
    }
    const Lock feedLock(feed->mutex);
    if (feed->hasEnded) {
        watcher.Push("gone", PathJson(path), true);
    }
    feed->watchers.push_back(&watcher);
}

std::shared_ptr<EventHub::Feed> EventHub::OpenFeed(const std::string& path) {
    auto feed = std::make_shared<Feed>();
    delivery::DeliveryOptions deliveryOptions;
    deliveryOptions.capacity = maxGathered;
    const std::weak_ptr<Feed> weak = feed;
    deliveryOptions.onEnd = [weak, path] {
        if (const std::shared_ptr<Feed> ended = weak.lock()) {
            ended->End(path);
        }
    };
    const auto notify = [weak, path](Change& change) {
        if (const std::shared_ptr<Feed> changed = weak.lock()) {
            changed->Notify(change, path);
        }
    };
    model.Visit(path, [&](Stream& stream) {
        feed->delivery =
            dispatcher.Subscribe(stream, core::tessaryn::rules::Always(), notify, deliveryOptions);
    });
    return feed;
}

void EventHub::Remove(Watcher& watcher) {
    // Destroyed after the lock is released, since a destructor waits for the handler, which takes
    // locks.
    std::vector<std::shared_ptr<Feed>> unused;
    const Lock lock(mutex);
    for (auto place = feeds.begin(); place != feeds.end();) {
        bool isUnused = false;
        {
            const Lock feedLock(place->second->mutex);
            std::erase(place->second->watchers, &watcher);
            isUnused = place->second->watchers.empty();
        }
        if (isUnused) {
            unused.push_back(std::move(place->second));
            place = feeds.erase(place);
        } else {
            ++place;
        }
    }
}

}  // namespace velmora::inspector
