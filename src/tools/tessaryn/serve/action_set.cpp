// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/action_set.h"

#include "serve/command_action.h"
#include "serve/webhook_action.h"

#include <utility>

namespace velmora::tool {

namespace {

// Writes events to the log.
class LogAction : public Action {
  public:
    explicit LogAction(ServiceLog& log) : log(log) {}
    void Take(const std::shared_ptr<const Event>& event) override {
        log.Write(LogLevel::notice, event->text);
    }
    void Close(Clock::time_point /*until*/) override {}

  private:
    ServiceLog& log;
};

}  // namespace

ActionSet::ActionSet(ServiceLog& log) : log(&log) {
    entries["log"].action = std::make_shared<LogAction>(log);
}

ActionSet ActionSet::Replace(const RulesConfig& config) {
    ActionSet old = std::move(*this);
    *this = ActionSet(*old.log);
    const auto keep = [&](const std::string& name, const auto& isSame) {
        const auto before = old.entries.find(name);
        const bool stays = before != old.entries.end() && isSame(before->second);
        if (stays) {
            entries[name] = std::move(before->second);
            old.entries.erase(before);
        }
        return stays;
    };
    for (const CommandConfig& command : config.commands) {
        if (!keep(command.name, [&](const Entry& entry) { return entry.command == command; })) {
            auto action = std::make_shared<CommandAction>(command, *log);
            Entry& entry = entries[command.name];
            entry.command = command;
            entry.action = std::move(action);
        }
    }
    for (const WebhookConfig& webhook : config.webhooks) {
        if (!keep(webhook.name, [&](const Entry& entry) { return entry.webhook == webhook; })) {
            auto action = std::make_shared<WebhookAction>(webhook, *log);
            Entry& entry = entries[webhook.name];
            entry.webhook = webhook;
            entry.action = std::move(action);
        }
    }
    return old;
}

std::vector<std::shared_ptr<Action>> ActionSet::Find(const std::vector<std::string>& names) const {
    std::vector<std::shared_ptr<Action>> found;
    found.reserve(names.size());
    for (const std::string& name : names) {
        found.push_back(entries.at(name).action);
    }
    return found;
}

void ActionSet::Tick() {
    for (const auto& [name, entry] : entries) {
        entry.action->Tick();
    }
}

void ActionSet::Close(Action::Clock::time_point until) {
    for (const auto& [name, entry] : entries) {
        entry.action->Close(until);
    }
}

}  // namespace velmora::tool
