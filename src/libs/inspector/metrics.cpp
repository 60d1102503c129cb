// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/metrics.h"

#include "inspector/json_text.h"
#include "inspector/sample_json.h"
#include "inspector/stream_info.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>
#include <set>
#include <sstream>
#include <utility>

namespace velmora::inspector {

using core::tessaryn::Sample;
using core::tessaryn::Stream;
using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;

namespace {

using Labels = std::vector<ClientMetric::Label>;

class Families {
  public:
    void Add(const std::string& name, const std::string& help, double value, Labels labels = {}) {
        std::string key = name;
        for (const ClientMetric::Label& label : labels) {
            key.append(1, '\0').append(label.value);
        }
        // Cleaned names may collide, and a scraper refuses all metrics when one comes twice.
        if (!seen.insert(key).second) {
            return;
        }
        const auto [index, isNew] = indexes.emplace(name, families.size());
        const bool isCounter = name.ends_with("_total");
        if (isNew) {
            families.push_back(
                {name, help, isCounter ? MetricType::Counter : MetricType::Gauge, {}});
        }
        ClientMetric metric;
        metric.label = std::move(labels);
        (isCounter ? metric.counter.value : metric.gauge.value) = value;
        families[index->second].metric.push_back(std::move(metric));
    }

    std::string GetText() const {
        std::ostringstream out;
        prometheus::TextSerializer().Serialize(out, families);
        return out.str();
    }

  private:
    std::vector<MetricFamily> families;
    std::map<std::string, std::size_t> indexes;
    std::set<std::string> seen;
};

Labels Label(const std::string& name, const std::string& value) {
    return {{name, CleanText(value)}};
}

template <class Integer>
double ToDouble(Integer value) {
    return static_cast<double>(value);
}

double Seconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double>(time).count();
}

void AddStream(Families& families, const Model& model, const std::string& path) {
    std::uint64_t pushes = 0;
    int samples = 0;
    int capacity = 0;
    std::size_t subscriptions = 0;
    std::optional<std::int64_t> newest;
    const bool exists = model.TryVisit(path, [&](const Stream& stream) {
        pushes = stream.CountPushes();
        samples = stream.GetNumSamples();
        capacity = stream.GetMaxSize();
        subscriptions = stream.CountSubscriptions();
        stream.TryGetLatest(
            [&](const Sample& sample) { newest = sample.GetTimeStamp().epochMicroseconds(); });
    });
    if (!exists) {
        return;
    }
    const Labels label = Label("stream", path);
    families.Add("velmora_stream_pushes_total", "Samples pushed since the stream was made.",
                 ToDouble(pushes), label);
    families.Add("velmora_stream_samples", "Samples in the ring of the stream.", samples, label);
    families.Add("velmora_stream_capacity_samples", "Samples that the ring can hold.", capacity,
                 label);
    families.Add("velmora_stream_subscriptions", "Subscriptions to the stream.",
                 ToDouble(subscriptions), label);
    if (newest) {
        families.Add("velmora_stream_newest_timestamp_seconds",
                     "Time of the newest sample of the stream.", ToDouble(*newest) / 1e6, label);
    }
}

void AddDelivery(Families& families, const std::string& name,
                 const delivery::DeliveryStatistics& statistics) {
    const Labels label = Label("delivery", name);
    families.Add("velmora_delivery_accepted_total",
                 "Changes that the delivery's rule and conditions let through.",
                 ToDouble(statistics.accepted), label);
    families.Add("velmora_delivery_delivered_total", "Changes that the handler was called with.",
                 ToDouble(statistics.delivered), label);
    families.Add("velmora_delivery_dropped_total", "Changes that found the queue full.",
                 ToDouble(statistics.dropped), label);
    families.Add("velmora_delivery_failures_total", "Calls of the handler that threw.",
                 ToDouble(statistics.failures), label);
    families.Add("velmora_delivery_handler_seconds_total", "Time spent in the handler.",
                 Seconds(statistics.handlerTime), label);
    families.Add("velmora_delivery_waiting_changes", "Changes that are queued now.",
                 ToDouble(statistics.waiting), label);
}

// Nothing if the stream, the entry or the element does not exist, or the entry is a text.
std::optional<double> NewestValue(const Model& model, const EntryGauge& gauge) {
    std::optional<Sample> newest;
    model.TryVisit(gauge.path, [&](const Stream& stream) {
        stream.TryGetLatest([&](const Sample& sample) { newest = sample; });
    });
    if (!newest || newest->GetStreamType() == nullptr ||
        !newest->GetStreamType()->EntryExists(gauge.entry)) {
        return std::nullopt;
    }
    const std::vector<ShownEntry> entries = SelectEntries(
        *newest->GetStreamType(), std::optional<std::string>(gauge.entry), model.options.limits);
    return entries.front().type == core::tessaryn::String
               ? std::nullopt
               : std::optional(NumberOf(*newest, entries.front()));
}

}  // namespace

Answer WriteMetrics(const Model& model, const HostMetrics& host, const EventHub& events) {
    Families families;
    const std::shared_ptr<const PathList> list = model.index.Get();
    const std::vector<std::string>& paths = list->GetPaths();
    const std::size_t shown = std::min(paths.size(), model.options.limits.maxMetricStreams);
    families.Add("velmora_streams", "Streams of the host.", ToDouble(paths.size()));
    families.Add("velmora_streams_without_metrics",
                 "Streams that have no metrics of their own, since there are too many.",
                 ToDouble(paths.size() - shown));
    families.Add("velmora_stream_types", "Stream types of the host, in all versions.",
                 ToDouble(CountTypes(model)));
    for (std::size_t i = 0; i < shown; ++i) {
        AddStream(families, model, paths[i]);
    }
    for (const auto& [name, statistics] : host.GetDeliveries()) {
        AddDelivery(families, name, statistics);
    }
    for (const HostMetrics::Rule& rule : host.GetRules()) {
        families.Add("velmora_rule_matches_total", "Changes that the rule applied to.",
                     ToDouble(rule.matches), Label("rule", rule.name));
    }
    for (const EntryGauge& gauge : model.options.gauges) {
        if (const std::optional<double> value = NewestValue(model, gauge)) {
            Labels labels = Label("stream", gauge.path);
            labels.push_back({"entry", CleanText(gauge.entry)});
            families.Add("velmora_entry_value", "Newest value of the entry.", *value,
                         std::move(labels));
        }
    }
    families.Add("velmora_inspector_watchers", "Event streams that clients read.",
                 ToDouble(events.CountWatchers()));
    families.Add("velmora_inspector_dropped_changes_total",
                 "Changes that the inspector's own deliveries dropped.",
                 ToDouble(events.GetStatistics().dropped));
    for (const HostMetrics::Value& value : host.GetValues()) {
        families.Add(value.name, value.help, value.value);
    }
    Answer answer;
    answer.type = "text/plain; version=0.0.4; charset=utf-8";
    answer.body = families.GetText();
    return answer;
}

}  // namespace velmora::inspector
