// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/api.h"

#include "inspector/chart.h"
#include "inspector/metrics.h"
#include "inspector/page_files.h"
#include "inspector/request_error.h"
#include "inspector/sample_json.h"
#include "inspector/sample_list.h"
#include "storage/history_exception.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace velmora::inspector {

namespace {

std::string_view TypeOf(std::string_view path) {
    if (path.ends_with(".js")) {
        return "text/javascript; charset=utf-8";
    }
    return path.ends_with(".css") ? "text/css; charset=utf-8" : "text/html; charset=utf-8";
}

const PageFile* FindFile(std::string_view path) {
    if (path == "/" || path == "/login") {
        path = path == "/" ? "/index.html" : "/login.html";
    }
    const auto found = std::find_if(pageFiles.begin(), pageFiles.end(),
                                    [&](const PageFile& file) { return file.path == path; });
    return found == pageFiles.end() ? nullptr : &*found;
}

Answer MakeText(std::string_view text, std::string_view type) {
    Answer answer;
    answer.type = type;
    answer.body = text;
    return answer;
}

}  // namespace

struct Api::Route {
    std::string_view path;
    // Whether it is answered without a token, since it shows nothing of the host.
    bool isOpen;
    Answer (*answer)(Api& api, const Request& request);
};

const Api::Route* Api::FindRoute(const std::string& path) {
    static constexpr auto routes = std::to_array<Route>({
        {"/healthz", true, [](Api&, const Request&) { return MakeText("ok\n", "text/plain"); }},
        {"/api/about", false, [](Api& api, const Request& r) { return api.DescribeHost(r); }},
        {"/api/tree", false, [](Api& api, const Request& r) { return ListChildren(api.model, r); }},
        {"/api/search", false,
         [](Api& api, const Request& r) { return FindStreams(api.model, r); }},
        {"/api/types", false, [](Api& api, const Request& r) { return ListTypes(api.model, r); }},
        {"/api/stream", false,
         [](Api& api, const Request& r) { return DescribeStream(api.model, r); }},
        {"/api/newest", false, [](Api& api, const Request& r) { return ListNewest(api.model, r); }},
        {"/api/samples", false,
         [](Api& api, const Request& r) { return ListSamples(api.model, r); }},
        {"/api/chart", false, [](Api& api, const Request& r) { return DrawChart(api.model, r); }},
        {"/api/check", false,
         [](Api& api, const Request& r) { return CheckClientRule(api.model, r); }},
        {"/api/events", false, [](Api& api, const Request& r) { return api.events->Watch(r); }},
        {"/samples.csv", false,
         [](Api& api, const Request& r) { return DownloadSamples(api.model, r); }},
        {"/metrics", false,
         [](Api& api, const Request&) { return WriteMetrics(api.model, api.host, *api.events); }},
    });
    const auto found = std::find_if(routes.begin(), routes.end(),
                                    [&](const Route& route) { return route.path == path; });
    return found == routes.end() ? nullptr : &*found;
}

Api::Api(core::tessaryn::StreamRepository& streams, core::tessaryn::StreamTypeRepository& types,
         const InspectorOptions& options, const HostMetrics& host)
    : options(options),
      host(host),
      access(options),
      index(streams),
      model{streams, types, options, index} {}

void Api::Start() {
    events = std::make_unique<EventHub>(model);
}

void Api::Stop() {
    events.reset();
}

Answer Api::Handle(const Request& request) {
    access.CheckOrigin(request);
    if (request.method == "POST" && request.path == "/login") {
        return access.LogIn(request);
    }
    if (request.method != "GET" && request.method != "HEAD") {
        Answer answer = MakeError(405, "Only GET and HEAD are answered.");
        answer.headers.emplace_back("Allow", "GET, HEAD");
        return answer;
    }
    if (const PageFile* const file = FindFile(request.path)) {
        const bool isPage = request.path == "/" || request.path == "/index.html";
        return isPage && !access.IsAllowed(request) ? MakeRedirect("login")
                                                    : MakeText(file->text, TypeOf(file->path));
    }
    const Route* const route = FindRoute(request.path);
    if (route == nullptr) {
        throw RequestError(404, "There is nothing of this name.");
    }
    if (!route->isOpen && !access.IsAllowed(request)) {
        throw RequestError(401, "The token is missing or wrong.");
    }
    try {
        return route->answer(*this, request);
    } catch (const storage::HistoryException& error) {
        throw RequestError(503, error.what());
    }
}

Answer Api::DescribeHost(const Request&) {
    JsonText json;
    json.BeginObject().Key("title").Text(options.title).Key("version").Text(VELMORA_VERSION);
    json.Key("streams").Unsigned(index.Get()->GetPaths().size());
    json.Key("types").Unsigned(CountTypes(model));
    json.Key("separator").Text(std::string(1, model.streams.groupSeparator()));
    json.Key("history").Bool(!options.history.empty()).Key("now").Integer(Now());
    json.Key("uptime").Number(static_cast<double>(started.elapsed()) / 1e6);
    json.Key("rules").BeginArray();
    for (const HostMetrics::Rule& rule : host.GetRules()) {
        json.BeginObject().Key("name").Text(rule.name).Key("rule").Text(rule.text);
        json.Key("matches").Unsigned(rule.matches).EndObject();
    }
    json.EndArray().Key("deliveries").BeginArray();
    for (const auto& [name, statistics] : host.GetDeliveries()) {
        json.BeginObject().Key("name").Text(name);
        json.Key("delivered").Unsigned(statistics.delivered);
        json.Key("dropped").Unsigned(statistics.dropped);
        json.Key("waiting").Unsigned(statistics.waiting);
        json.Key("failures").Unsigned(statistics.failures).EndObject();
    }
    json.EndArray().EndObject();
    Answer answer;
    answer.body = json.Take();
    return answer;
}

}  // namespace velmora::inspector
