// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "delivery/options.h"

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace velmora::inspector {

/// What the host adds to the page and to the metrics: see `Inspector`.
///
/// \threadsafety guarded
class HostMetrics {
  public:
    struct Rule {
        std::string name;
        std::string text;
        std::uint64_t matches = 0;
    };
    struct Delivery {
        std::string name;
        delivery::DeliveryStatistics statistics;
    };
    struct Value {
        std::string name;
        std::string help;
        double value = 0;
    };

    void AddDelivery(const std::string& name,
                     std::function<delivery::DeliveryStatistics()> statistics);
    void RemoveDelivery(const std::string& name);
    void AddRule(const std::string& name, const std::string& text,
                 std::function<std::uint64_t()> matches);
    void RemoveRule(const std::string& name);
    void AddValue(const std::string& name, const std::string& help, bool isCounter,
                  std::function<double()> value);

    std::vector<Rule> GetRules() const;
    std::vector<Delivery> GetDeliveries() const;
    std::vector<Value> GetValues() const;

  private:
    struct RuleSource {
        std::string text;
        std::function<std::uint64_t()> matches;
    };
    struct ValueSource {
        std::string help;
        std::function<double()> value;
    };

    mutable std::mutex mutex;
    // By name. Guarded by the mutex, which is held while the functions are called.
    std::map<std::string, std::function<delivery::DeliveryStatistics()>> deliveries;
    std::map<std::string, RuleSource> rules;
    std::map<std::string, ValueSource> values;
};

}  // namespace velmora::inspector
