// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "inspector/inspector.h"
#include "serve/feed_thread.h"
#include "serve/plant.h"
#include "serve/rule_set.h"
#include "serve/serve_config.h"

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace velmora::tool {

/// The service's page, if the configuration has one, with its rules and counts.
///
/// \threadsafety external
class Page {
  public:
    /// All parameters are observed, and must outlive the page or the call of `Stop`.
    Page(const ServeConfig& config, Plant& plant, const RuleSet& rules,
         const std::vector<std::unique_ptr<FeedThread>>& feeds);
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;
    ~Page();

    /// Listens.
    /// \throws CommandError when the token cannot be read, or the address is not available
    void Start();
    /// Shows the current rules.
    void ShowRules();
    void Stop();
    /// Empty if there is no page.
    std::string GetUrl() const;

  private:
    void AddCounts();

    const ServeConfig& config;
    Plant& plant;
    const RuleSet& rules;
    const std::vector<std::unique_ptr<FeedThread>>& feeds;
    std::unique_ptr<inspector::Inspector> inspector;
    std::set<std::string> shownRules;
};

}  // namespace velmora::tool
