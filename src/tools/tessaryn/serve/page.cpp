// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/page.h"

#include "command_error.h"
#include "serve/access_token.h"

#include <Poco/Exception.h>

#include <utility>

namespace velmora::tool {

namespace {

std::string GetToken(const PageConfig& page) {
    if (!page.credential.empty()) {
        return ReadTokenFile(FindCredential(page.credential));
    }
    return page.tokenFile.empty() ? std::string() : ReadTokenFile(page.tokenFile);
}

}  // namespace

Page::Page(const ServeConfig& config, Plant& plant, const RuleSet& rules,
           const std::vector<std::unique_ptr<FeedThread>>& feeds)
    : config(config), plant(plant), rules(rules), feeds(feeds) {}

Page::~Page() {
    Stop();
}

void Page::Start() {
    const PageConfig& page = config.page;
    if (page.address.empty()) {
        return;
    }
    inspector::InspectorOptions options;
    options.address = page.address;
    options.port = page.port;
    options.token = GetToken(page);
    options.hosts = page.hosts;
    options.title = config.title;
    options.history = plant.GetHistoryFile();
    options.unit = [this](const std::string& path, const std::string& entry) {
        return plant.GetUnit(path, entry);
    };
    for (const auto& [path, entry] : page.metrics) {
        options.gauges.push_back({path, entry});
    }
    core::tessaryn::Document& document = plant.GetDocument();
    inspector = std::make_unique<inspector::Inspector>(*document.streams, *document.types,
                                                       std::move(options));
    AddCounts();
    ShowRules();
    try {
        inspector->Start();
    } catch (const Poco::Exception& error) {
        throw CommandError("the page cannot listen on " + page.address + ", port " +
                           std::to_string(page.port) + ": " + error.displayText());
    }
}

void Page::AddCounts() {
    const auto sum = [this](std::atomic<std::uint64_t> FeedCounts::*count) {
        return [this, count] {
            double total = 0;
            for (const auto& feed : feeds) {
                total += static_cast<double>((feed->GetCounts().*count).load());
            }
            return total;
        };
    };
    inspector->AddCounter("tessaryn_source_rows_total", "Rows that sources gave",
                          sum(&FeedCounts::rows));
    inspector->AddCounter("tessaryn_source_skipped_rows_total", "Bad rows that were skipped",
                          sum(&FeedCounts::skipped));
    inspector->AddCounter("tessaryn_source_failures_total", "Times that a source failed",
                          sum(&FeedCounts::failures));
    if (!plant.GetHistoryFile().empty()) {
        inspector->AddCounter("tessaryn_history_written_total", "Samples in the history", [this] {
            return static_cast<double>(plant.GetHistoryStatistics().written);
        });
        inspector->AddCounter(
            "tessaryn_history_lost_total", "Samples lost for the history",
            [this] { return static_cast<double>(plant.GetHistoryStatistics().lost); });
    }
    inspector->AddDelivery("rules", [this] { return rules.GetStatistics(); });
}

void Page::ShowRules() {
    if (inspector == nullptr) {
        return;
    }
    std::set<std::string> names;
    for (const RuleSet::Count& count : rules.GetCounts()) {
        names.insert(count.name);
        inspector->AddRule(count.name, count.rule,
                           [this, name = count.name] { return rules.GetEvents(name); });
    }
    for (const std::string& name : shownRules) {
        if (names.count(name) == 0) {
            inspector->RemoveRule(name);
        }
    }
    shownRules = std::move(names);
}

void Page::Stop() {
    inspector.reset();
}

std::string Page::GetUrl() const {
    return inspector == nullptr ? std::string() : inspector->GetUrl();
}

}  // namespace velmora::tool
