// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/host_metrics.h"

#include <algorithm>
#include <prometheus/check_names.h>
#include <stdexcept>
#include <utility>

namespace velmora::inspector {

namespace {

using Lock = std::lock_guard<std::mutex>;

template <class Function>
void Require(const Function& function, const std::string& name) {
    if (!function) {
        throw std::invalid_argument("There is no function for '" + name + "'.");
    }
}

}  // namespace

void HostMetrics::AddDelivery(const std::string& name,
                              std::function<delivery::DeliveryStatistics()> statistics) {
    Require(statistics, name);
    const Lock lock(mutex);
    deliveries[name] = std::move(statistics);
}

void HostMetrics::RemoveDelivery(const std::string& name) {
    const Lock lock(mutex);
    deliveries.erase(name);
}

void HostMetrics::AddRule(const std::string& name, const std::string& text,
                          std::function<std::uint64_t()> matches) {
    Require(matches, name);
    const Lock lock(mutex);
    rules[name] = {text, std::move(matches)};
}

void HostMetrics::RemoveRule(const std::string& name) {
    const Lock lock(mutex);
    rules.erase(name);
}

void HostMetrics::AddValue(const std::string& name, const std::string& help, bool isCounter,
                           std::function<double()> value) {
    Require(value, name);
    if (!prometheus::CheckMetricName(name) || name.starts_with("velmora_") ||
        name.ends_with("_total") != isCounter) {
        throw std::invalid_argument("The metric cannot be named '" + name + "'.");
    }
    if (help.empty()) {
        throw std::invalid_argument("The metric '" + name + "' needs a help text.");
    }
    std::string line = help;
    std::replace_if(
        line.begin(), line.end(), [](char c) { return c == '\n' || c == '\\'; }, ' ');
    const Lock lock(mutex);
    values[name] = {std::move(line), std::move(value)};
}

std::vector<HostMetrics::Rule> HostMetrics::GetRules() const {
    std::vector<Rule> list;
    const Lock lock(mutex);
    for (const auto& [name, rule] : rules) {
        list.push_back({name, rule.text, rule.matches()});
    }
    return list;
}

std::vector<HostMetrics::Delivery> HostMetrics::GetDeliveries() const {
    std::vector<Delivery> list;
    const Lock lock(mutex);
    for (const auto& [name, statistics] : deliveries) {
        list.push_back({name, statistics()});
    }
    return list;
}

std::vector<HostMetrics::Value> HostMetrics::GetValues() const {
    std::vector<Value> list;
    const Lock lock(mutex);
    for (const auto& [name, source] : values) {
        list.push_back({name, source.help, source.value()});
    }
    return list;
}

}  // namespace velmora::inspector
