// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "csv/csv_layout.h"
#include "remote/nats_settings.h"
#include "storage/history_writer_options.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// \file
/// The configuration of `tessaryn serve`, with the lines of its parts.

namespace velmora::tool {

/// The common part of sections with a name.
struct NamedSection {
    std::string name;
    std::size_t line = 0;

    /// Ignores the line, which changes when lines above are added or removed.
    bool operator==(const NamedSection& other) const { return name == other.name; }
};

/// [page]
struct PageConfig {
    /// Empty for no page.
    std::string address = "127.0.0.1";
    std::uint16_t port = 8080;
    std::string tokenFile;
    /// Name of a credential that systemd hands over, instead of a file.
    std::string credential;
    /// Further host names under which the page may be requested.
    std::vector<std::string> hosts;
    /// Stream and entry of values that are metrics.
    std::vector<std::pair<std::string, std::string>> metrics;
};

/// [history]
struct HistoryConfig {
    std::string file;
    storage::HistoryWriterOptions options;
};

/// [checkpoint]
struct CheckpointConfig {
    std::string file;
    std::chrono::microseconds interval = std::chrono::minutes(5);
};

/// [source.NAME]
struct SourceConfig : NamedSection {
    /// A path, "host", "-", "socket:NAME", "nats://HOST/SUBJECT", or another scheme and what
    /// follows it.
    std::string from;
    /// The stream of the samples; empty if the source names it.
    std::string stream;
    CsvOptions table;
    /// Whether a file is followed as it grows.
    bool follow = true;
    /// Whether the rows that a file has at the start are skipped.
    bool onlyNew = false;
    /// How long to wait before a failed source is opened again.
    std::chrono::microseconds retry = std::chrono::seconds(1);
    /// Whether a recording is pushed at the pace of its times.
    bool replay = false;
    double speed = 1;
    bool loop = false;
    /// Whether replayed samples keep their times.
    bool keepTimes = false;
    NatsSettings nats{};
};

/// [stream.NAME]
struct StreamConfig : NamedSection {
    /// The path of a stream, or a pattern.
    std::string path;
    long capacity = 0;
    std::vector<ColumnType> entries;
    /// Entry and unit.
    std::vector<std::pair<std::string, std::string>> units;
};

/// When a rule makes an event.
enum class EventTrigger { match, begin, end };

/// [rule.NAME]
struct RuleConfig : NamedSection {
    std::string text;
    /// Patterns of paths.
    std::vector<std::string> streams = {">"};
    EventTrigger trigger = EventTrigger::match;
    std::optional<std::chrono::microseconds> hold;
    std::optional<std::chrono::microseconds> interval;
    std::string changed;
    std::string moved;
    double limit = 0;
    /// "log", and names of commands and webhooks.
    std::vector<std::string> actions = {"log"};

    bool operator==(const RuleConfig&) const = default;
};

/// [command.NAME]
struct CommandConfig : NamedSection {
    /// The program and its arguments.
    std::vector<std::string> arguments;
    std::chrono::microseconds timeout = std::chrono::seconds(30);
    std::size_t maxRunning = 1;
    std::size_t maxWaiting = 100;

    bool operator==(const CommandConfig&) const = default;
};

/// [webhook.NAME]
struct WebhookConfig : NamedSection {
    std::string url;
    std::chrono::microseconds timeout = std::chrono::seconds(10);
    /// How many requests are tried before an event is dropped.
    std::size_t tries = 3;
    std::size_t maxWaiting = 1000;

    bool operator==(const WebhookConfig&) const = default;
};

/// The part of the configuration that SIGHUP reloads.
struct RulesConfig {
    std::vector<RuleConfig> rules;
    std::vector<CommandConfig> commands;
    std::vector<WebhookConfig> webhooks;
};

/// A configuration.
struct ServeConfig {
    std::string title;
    std::size_t maxStreams = 10'000;
    long capacity = 1000;
    /// How long the service may take to end.
    std::chrono::microseconds stopTimeout = std::chrono::seconds(20);
    PageConfig page;
    std::optional<HistoryConfig> history;
    std::optional<CheckpointConfig> checkpoint;
    std::vector<SourceConfig> sources;
    std::vector<StreamConfig> streams;
    RulesConfig reactions;
    /// All other sections as a text, for comparison.
    std::string rest;
};

}  // namespace velmora::tool
