// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/rule_set.h"

#include "delivery/conditions.h"
#include "delivery/rule.h"
#include "delivery/stream_pattern.h"
#include "serve/event_maker.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/subscription_rules.h"
#include "text/escaped_text.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

constexpr std::size_t workers = 2;
// Enough for handlers, which only pass events on.
constexpr std::chrono::seconds drainTimeout(5);

std::chrono::milliseconds TimeUntil(Action::Clock::time_point until) {
    return std::max(
        std::chrono::milliseconds(0),
        std::chrono::duration_cast<std::chrono::milliseconds>(until - Action::Clock::now()));
}

// The conditions of a rule, and whether they evaluate the rule themselves.
std::pair<delivery::ConditionChain, bool> MakeConditions(const RuleConfig& config,
                                                         const delivery::Rule& rule) {
    delivery::ConditionChain chain;
    bool asksRule = true;
    if (config.trigger == EventTrigger::begin) {
        chain = delivery::ConditionChain(delivery::Rising(rule));
    } else if (config.trigger == EventTrigger::end) {
        chain = delivery::ConditionChain(delivery::Falling(rule));
    } else if (config.hold) {
        chain = delivery::ConditionChain(delivery::HeldFor(rule, *config.hold));
    } else {
        asksRule = false;
    }
    if (!config.changed.empty()) {
        chain = chain.Then(delivery::OnChange(config.changed));
    }
    if (!config.moved.empty()) {
        chain = chain.Then(delivery::Deadband(config.moved, config.limit));
    }
    if (config.interval) {
        chain = chain.Then(delivery::MinInterval(*config.interval));
    }
    return {std::move(chain), asksRule};
}

}  // namespace

// A rule on all its streams.
class RuleSet::ActiveRule {
  public:
    ActiveRule(RuleConfig config, ServiceLog& log)
        : config(std::move(config)), rule(this->config.text), log(log) {
        for (const std::string& pattern : this->config.streams) {
            patterns.emplace_back(pattern, '/');
        }
    }

    const RuleConfig& GetConfig() const { return config; }
    Count GetCount() const { return {config.name, config.text, events, deliveries.size()}; }

    void SetActions(std::vector<std::shared_ptr<Action>> wanted) {
        const std::lock_guard lock(actionsMutex);
        actions = std::move(wanted);
    }

    void Watch(const WatchedStream& watched, delivery::Dispatcher& usedDispatcher) {
        const tsn::StreamType& type = *watched.stream->GetStreamType();
        if (deliveries.count(watched.path) > 0 || !IsFor(watched.path, type)) {
            return;
        }
        auto [conditions, asksRule] = MakeConditions(config, rule);
        auto maker = std::make_shared<EventMaker>(config.name, watched.path, type);
        delivery::DeliveryOptions options;
        options.capacity = 10'000;
        options.conditions = std::move(conditions);
        options.onError = [this](const std::exception_ptr& error) { OnError(error); };
        deliveries[watched.path] = usedDispatcher.Subscribe(
            *watched.stream, asksRule ? delivery::Rule(tsn::Always()) : rule,
            [this, maker](delivery::Change& change) {
                if (change.changeType != tsn::popped) {
                    Handle(maker->Make(change.sample));
                }
            },
            std::move(options));
    }

    // Passes on the samples that the rule has selected on a stream, and ends the subscription.
    void Unwatch(const std::string& path) {
        const auto place = deliveries.find(path);
        if (place != deliveries.end()) {
            place->second.Flush();
            place->second.Drain(drainTimeout);
            deliveries.erase(place);
        }
    }

    void Flush(const Poco::Timestamp& now) {
        for (auto& [path, each] : deliveries) {
            if (config.interval) {
                each.Flush(now);
            }
        }
    }

    void Drain(Action::Clock::time_point until) {
        for (auto& [path, each] : deliveries) {
            each.Flush();
            each.Drain(TimeUntil(until));
            dropped += each.GetStatistics().dropped;
        }
        deliveries.clear();
        if (dropped > 0) {
            log.Write(LogLevel::warning, "rule " + Quoted(config.name) + " lost " +
                                             std::to_string(dropped) + " events");
        }
    }

  private:
    // Whether the rule can be evaluated for the samples of a stream.
    bool IsFor(const std::string& path, const tsn::StreamType& type) const {
        const bool isMeant =
            std::any_of(patterns.begin(), patterns.end(),
                        [&](const auto& pattern) { return pattern.Matches(path); });
        const auto hasEntry = [&](const std::string& entry) {
            return entry.empty() || type.EntryExists(entry);
        };
        if (!isMeant || !rule.CanApplyTo(type) || !hasEntry(config.changed) ||
            !hasEntry(config.moved)) {
            return false;
        }
        bool canBeAsked = true;
        for (const tsn::RuleFinding& finding : tsn::CheckRule(config.text, type)) {
            const bool isError = finding.CanThrow();
            canBeAsked = canBeAsked && !isError;
            log.Write(isError ? LogLevel::error : LogLevel::warning,
                      "rule " + Quoted(config.name) + " on stream " + Quoted(path) + ": " +
                          finding.message + (finding.hint.empty() ? "" : "; " + finding.hint));
        }
        return canBeAsked;
    }

    void Handle(const std::shared_ptr<const Event>& event) {
        ++events;
        std::vector<std::shared_ptr<Action>> wanted;
        {
            const std::lock_guard lock(actionsMutex);
            wanted = actions;
        }
        for (const std::shared_ptr<Action>& action : wanted) {
            action->Take(event);
        }
    }

    void OnError(const std::exception_ptr& error) {
        try {
            std::rethrow_exception(error);
        } catch (const std::exception& reason) {
            log.WriteLimited(LogLevel::error, "rule " + config.name,
                             "rule " + Quoted(config.name) + ": " + reason.what());
        }
    }

    RuleConfig config;
    delivery::Rule rule;
    ServiceLog& log;
    std::vector<delivery::StreamPattern> patterns;
    std::atomic<std::uint64_t> events = 0;
    std::uint64_t dropped = 0;
    std::mutex actionsMutex;
    // Guarded by that mutex.
    std::vector<std::shared_ptr<Action>> actions;
    // By path. The last member, since the handlers use the others.
    std::map<std::string, delivery::Delivery> deliveries;
};

RuleSet::RuleSet(ServiceLog& log) : log(log), dispatcher(workers, "rules"), actions(log) {}

RuleSet::~RuleSet() = default;

void RuleSet::Replace(const RulesConfig& config) {
    const std::lock_guard lock(mutex);
    std::vector<std::unique_ptr<ActiveRule>> old = std::move(rules);
    rules.clear();
    ActionSet previous = actions.Replace(config);
    for (const RuleConfig& wanted : config.rules) {
        const auto same = std::find_if(old.begin(), old.end(), [&](const auto& rule) {
            return rule != nullptr && rule->GetConfig() == wanted;
        });
        rules.push_back(same == old.end() ? std::make_unique<ActiveRule>(wanted, log)
                                          : std::move(*same));
        rules.back()->SetActions(actions.Find(wanted.actions));
    }
    old.erase(std::remove(old.begin(), old.end(), nullptr), old.end());
    for (const WatchedStream& each : streams) {
        // Locked, so that no sample comes between the end of the old rules and the start of the new
        // ones.
        each.stream->AtomicExecute([&] {
            for (const auto& rule : old) {
                rule->Unwatch(each.path);
            }
            for (const auto& rule : rules) {
                rule->Watch(each, dispatcher);
            }
        });
    }
    old.clear();
    previous.Close(Action::Clock::now() + drainTimeout);
}

void RuleSet::WarnOfIdle() const {
    const std::lock_guard lock(mutex);
    for (const auto& rule : rules) {
        const Count count = rule->GetCount();
        if (count.streams == 0) {
            log.Write(LogLevel::warning, "rule " + Quoted(count.name) +
                                             " watches no stream: none of its streams is there, "
                                             "or has the entries that the rule names");
        }
    }
}

void RuleSet::Watch(const PlantStream& stream) {
    const std::lock_guard lock(mutex);
    streams.push_back({stream.path, stream.stream});
    for (const auto& rule : rules) {
        rule->Watch(streams.back(), dispatcher);
    }
}

void RuleSet::Flush() {
    const std::lock_guard lock(mutex);
    const Poco::Timestamp now;
    for (const auto& rule : rules) {
        rule->Flush(now);
    }
    actions.Tick();
}

void RuleSet::Close(Action::Clock::time_point until) {
    const std::lock_guard lock(mutex);
    for (const auto& rule : rules) {
        rule->Drain(until);
    }
    actions.Close(until);
}

std::uint64_t RuleSet::GetEvents(const std::string& name) const {
    for (const Count& count : GetCounts()) {
        if (count.name == name) {
            return count.events;
        }
    }
    return 0;
}

std::vector<RuleSet::Count> RuleSet::GetCounts() const {
    const std::lock_guard lock(mutex);
    std::vector<Count> counts;
    for (const auto& rule : rules) {
        counts.push_back(rule->GetCount());
    }
    return counts;
}

}  // namespace velmora::tool
