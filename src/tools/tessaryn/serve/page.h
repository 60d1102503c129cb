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

/// The page of a service, where its configuration has one, with its rules and counts.
///
/// \threadsafety external
class Page {
  public:
    /// All parameters are observed, and outlive the page or its `Stop`.
    Page(const ServeConfig& config, Plant& plant, const RuleSet& rules,
         const std::vector<std::unique_ptr<FeedThread>>& feeds);
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;
    ~Page();

    /// Listens.
    /// \throws CommandError when the token cannot be read, or the address cannot be had
    void Start();
    /// Shows the rules that there are now.
    void ShowRules();
    void Stop();
    /// Empty for no page.
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
