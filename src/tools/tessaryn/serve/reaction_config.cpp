// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/reaction_config.h"

#include "command_error.h"
#include "commands/named_rule.h"
#include "commands/watch_options.h"
#include "delivery/stream_pattern.h"
#include "text/escaped_text.h"
#include "text/nearest.h"
#include "text/time_text.h"

#include <Poco/URI.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <stdexcept>
#include <tuple>
#include <unistd.h>

namespace velmora::tool {

namespace {

EventTrigger ParseTrigger(const std::string& text) {
    if (text != "match" && text != "begin" && text != "end") {
        throw CommandError("on " + Quoted(text) + " is none of match, begin and end");
    }
    return text == "match" ? EventTrigger::match
                           : (text == "begin" ? EventTrigger::begin : EventTrigger::end);
}

void CheckUrl(const std::string& text) {
    bool isHttp = false;
    try {
        const Poco::URI url(text);
        isHttp = url.getScheme() == "http" && !url.getHost().empty();
    } catch (const Poco::Exception&) {
        isHttp = false;
    }
    if (!isHttp) {
        throw CommandError("url " + Quoted(text) + " is not of the form http://host:port/path");
    }
}

}  // namespace

RuleConfig ReadRuleSection(const ConfigSection& section, ConfigSectionReader& reader,
                           ConfigMistakes& mistakes) {
    RuleConfig rule;
    rule.name = section.name;
    rule.line = section.line;
    reader
        .Single("rule",
                [&](const std::string& text) { rule.text = ParseNamedRule("rule:" + text).text; })
        .Required("rule")
        .Add("streams",
             [&](const ConfigValue& value) {
                 rule.streams = value.texts;
                 for (const std::string& pattern : rule.streams) {
                     try {
                         const delivery::StreamPattern known(pattern, '/');
                     } catch (const std::invalid_argument&) {
                         throw CommandError(Quoted(pattern) +
                                            " is not a pattern of streams such as plant/*");
                     }
                 }
             })
        .Single("on", [&](const std::string& text) { rule.trigger = ParseTrigger(text); })
        .Single("hold",
                [&](const std::string& text) { rule.hold = ParseDurationOption("hold", text); })
        .Single("at-most",
                [&](const std::string& text) { rule.interval = ParseRate("at-most", text); })
        .Text("on-change", rule.changed)
        .Single("deadband",
                [&](const std::string& text) {
                    std::tie(rule.moved, rule.limit) = ParseDeadband("deadband", text);
                })
        .Texts("do", rule.actions)
        .Finish();
    if (rule.hold && rule.trigger != EventTrigger::match) {
        mistakes.Add(reader.GetLine("hold"), "hold is for on = match");
    }
    return rule;
}

CommandConfig ReadCommandSection(const ConfigSection& section, ConfigSectionReader& reader,
                                 ConfigMistakes& mistakes) {
    CommandConfig command;
    command.name = section.name;
    command.line = section.line;
    reader
        .Add("run",
             [&](const ConfigValue& value) {
                 command.arguments = value.texts;
                 if (value.texts.empty() || value.texts.front().empty()) {
                     throw CommandError("run is empty; it is a list of a program and arguments");
                 }
             })
        .Required("run")
        .Duration("timeout", command.timeout)
        .Number("max-running", command.maxRunning, 1, 16)
        .Number("max-waiting", command.maxWaiting, 1, 100'000)
        .Finish();
    const std::size_t line = reader.GetLine("run");
    if (!command.arguments.empty() && !command.arguments.front().starts_with('/')) {
        mistakes.Add(
            line, "the program " + Quoted(command.arguments.front()) + " is not an absolute path");
    } else if (!command.arguments.empty() && access(command.arguments.front().c_str(), X_OK) != 0) {
        mistakes.Add(
            line, "cannot run " + Quoted(command.arguments.front()) + ": " + std::strerror(errno));
    }
    return command;
}

WebhookConfig ReadWebhookSection(const ConfigSection& section, ConfigSectionReader& reader,
                                 ConfigMistakes& /*mistakes*/) {
    WebhookConfig webhook;
    webhook.name = section.name;
    webhook.line = section.line;
    reader
        .Single("url",
                [&](const std::string& text) {
                    CheckUrl(text);
                    webhook.url = text;
                })
        .Required("url")
        .Duration("timeout", webhook.timeout)
        .Number("tries", webhook.tries, 1, 10)
        .Number("max-waiting", webhook.maxWaiting, 1, 100'000)
        .Finish();
    return webhook;
}

void CheckActions(const RulesConfig& reactions, ConfigMistakes& mistakes) {
    std::map<std::string, std::size_t> lines{{"log", 0}};
    std::vector<std::string> known{"log"};
    const auto add = [&](const NamedSection& action) {
        const auto [place, isNew] = lines.emplace(action.name, action.line);
        if (!isNew) {
            mistakes.Add(action.line, place->second == 0
                                          ? "\"log\" is an action that is there already"
                                          : "the action of line " + std::to_string(place->second) +
                                                " has the same name");
        }
        known.push_back(action.name);
    };
    for (const CommandConfig& command : reactions.commands) {
        add(command);
    }
    for (const WebhookConfig& webhook : reactions.webhooks) {
        add(webhook);
    }
    for (const RuleConfig& rule : reactions.rules) {
        for (const std::string& action : rule.actions) {
            if (lines.count(action) == 0) {
                mistakes.Add(rule.line, "rule " + Quoted(rule.name) + ": there is no action " +
                                            Quoted(action) + SuggestNearest(action, known));
            }
        }
    }
}

}  // namespace velmora::tool
